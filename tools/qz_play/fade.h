/// \file
/// \brief The volume over time: the fades of a track, and the short ramps that avoid clicks.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

/// Multiplies two levels from 0 to 1. One depends on the track's position: it rises at the start and falls at the end;
/// if these overlap, the lower level is used. The other depends on the clock: it is a ramp before a pause or a stop
/// and after a play.
///
/// The library's own fades change once per decoded block and end at any volume change. So their duration is not
/// exact, and they do not work together with the volume keys.
class fade
{
public:
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    /// The time between two steps. The library applies a new volume every 26 ms at 44.1 kHz.
    static constexpr seconds step{0.02};

    fade(seconds fade_in, seconds fade_out) : fade_in_(fade_in), fade_out_(fade_out) {}

    /// A track of unknown length does not fade out.
    void set_length(std::optional<seconds> length) { length_ = length; }

    /// Starts a ramp from the level at `now` to `target`. A change from 0 to 1 takes `duration`; a smaller change takes
    /// less.
    void ramp_to(double target, seconds duration, clock::time_point now)
    {
        start_ = ramp_level(now);
        target_ = target;
        duration_ = duration;
        started_ = now;
    }

    [[nodiscard]] bool is_ramping(clock::time_point now) const
    {
        return ramp_level(now) != target_;
    }

    [[nodiscard]] double level(seconds position, clock::time_point now) const
    {
        const double falling = length_ ? fraction(*length_ - position, fade_out_) : 1;
        return std::min(fraction(position, fade_in_), falling) * ramp_level(now);
    }

    /// Returns the time from `now` until the level changes; nothing if it does not change.
    [[nodiscard]] std::optional<seconds> next_change(seconds position, clock::time_point now) const
    {
        if (is_ramping(now) || position < fade_in_) {
            return step;
        }
        const bool falls = length_ && fade_out_ > seconds::zero();
        return falls ? std::optional(std::max(*length_ - fade_out_ - position, step))
                     : std::nullopt;
    }

private:
    static double fraction(seconds done, seconds whole)
    {
        return whole > seconds::zero() ? std::clamp(done / whole, 0.0, 1.0) : 1;
    }

    [[nodiscard]] double ramp_level(clock::time_point now) const
    {
        const double progress = fraction(now - started_, duration_);
        return start_ < target_ ? std::min(start_ + progress, target_)
                                : std::max(start_ - progress, target_);
    }

    seconds fade_in_;
    seconds fade_out_;
    std::optional<seconds> length_;
    double start_ = 1;
    double target_ = 1;
    seconds duration_{0};
    clock::time_point started_{};
};
