/// \file
/// \brief Measures the time for which a track has been heard.
#pragma once

#include <chrono>

class stopwatch
{
public:
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    void set_running(bool on, clock::time_point now = clock::now())
    {
        set(elapsed(now), now);
        running_ = on;
    }

    void set(seconds time, clock::time_point now = clock::now())
    {
        time_ = time;
        recorded_ = now;
    }

    /// Discards the time since the last call. Call this after a stop of the process.
    void discard_unrecorded(clock::time_point now = clock::now()) { recorded_ = now; }

    [[nodiscard]] bool is_running() const { return running_; }

    /// Returns the time, and records it for `discard_unrecorded`.
    seconds elapsed(clock::time_point now = clock::now())
    {
        set(time_ + (running_ ? seconds(now - recorded_) : seconds::zero()), now);
        return time_;
    }

private:
    bool running_ = false;
    seconds time_{0}; ///< As of the last call.
    clock::time_point recorded_{};
};
