/// \file
/// \brief A short way between sound and silence.
#pragma once

#include <chrono>

/// A level between 0, silence, and 1 that moves evenly to where it is told.
class volume_ramp
{
public:
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    /// Moves from the level at `now` to `target` at the pace that takes `whole` between 0 and 1.
    void move(double target, seconds whole, clock::time_point now);

    [[nodiscard]] double level(clock::time_point now) const;
    [[nodiscard]] bool moving(clock::time_point now) const { return level(now) != target_; }

private:
    double start_ = 1;
    double target_ = 1;
    seconds whole_{0};
    clock::time_point started_{};
};
