/// \file
/// \brief Estimates when the device will have played what was written to it.
#pragma once

#include "qz_audio/qz_audio_clock.h"

/// Estimates it from the writes of one run of the play task.
///
/// How long the writes block shows how much the device buffers; no library is called. Where the estimate is
/// uncertain, as after a stall, it is too late and never too early.
class playout_estimator
{
public:
    /// Adds a write of sound that plays for `length`, more than 0. The call lasted from `start` to `end`.
    void add_write(time_point start, time_point end, duration length);

    /// Returns when the device will have played what was written; a time in the past if nothing was written or the
    /// output is faster than real time, such as a file.
    [[nodiscard]] time_point expected_end() const;

private:
    [[nodiscard]] duration buffered() const;
    [[nodiscard]] bool is_real_time() const;

    /// A write that blocks shows that the device is full, or that it is being opened. The second one shows that
    /// it plays: before that, a stall may find it without enough to start.
    [[nodiscard]] bool device_plays() const { return blocked_writes_ > 1; }

    time_point first_end_; ///< End of the first write.
    time_point last_end_;  ///< End of the last write.
    duration written_{};

    int blocked_writes_ = 0;   ///< Counted up to 2: a repeated track has no end.
    time_point filling_since_; ///< Start of playing, or end of the last underrun.
    time_point last_blocked_start_;
    duration longest_blocked_{};
    duration since_blocked_{}; ///< Written by the last write that blocked and by those after it.

    duration level_{};    ///< The most that the device can have in its buffer after the last write.
    duration capacity_{}; ///< The highest level, up to three seconds after `filling_since_`.
    duration longest_write_{}; ///< By the sound written.
};
