/// \file
/// \brief Estimates when the device will have played what was written to it.
#pragma once

#include "qz_audio/qz_audio_clock.h"

/// The writes of one entry into the play task.
///
/// The device itself is asked nothing: asking would be a library call. How long the writes block shows how much
/// the device buffers. Where the estimate is uncertain, as after a stall, it is too late and never too early.
class playout
{
public:
    /// Notes a write of `length` of sound, more than none, which lasted from `start` to `end`.
    void add_write(time_point start, time_point end, duration length);

    /// Returns when the device has played what was written, or the past if nothing was written or the sink does
    /// not keep time, such as a file.
    [[nodiscard]] time_point end() const;

private:
    [[nodiscard]] duration buffered() const;
    [[nodiscard]] bool keeps_time() const;

    time_point first_end_; ///< The first write returned.
    time_point last_end_;  ///< The last write returned.
    duration written_{};

    /// A write that blocks shows that the device is full, or that it is being opened. The second one shows that
    /// it plays: before that, a stall may find it without enough to start.
    [[nodiscard]] bool plays() const { return blocked_writes_ > 1; }

    int blocked_writes_ = 0; ///< Counted up to 2: a repeated track has no end.
    time_point
        filling_since_; ///< The device has begun to play, or to fill again after an underrun.
    time_point last_blocked_start_;
    duration longest_blocked_{};
    duration since_blocked_{}; ///< Written by the last write that blocked and by those after it.

    duration level_{};    ///< At most so much is in the device's buffer after the last write.
    duration capacity_{}; ///< The highest level, up to three seconds after `filling_since_`.
    duration block_{};    ///< The longest write.
};
