/// \file
/// \brief A clock that stops with the sound.
#pragma once

#include <chrono>

class stopwatch
{
public:
    using seconds = std::chrono::duration<double>;

    void start()
    {
        if (!running_) {
            running_ = true;
            started_ = clock::now();
        }
    }

    void stop()
    {
        before_ = elapsed();
        running_ = false;
    }

    /// Shows `time` and goes on from there.
    void set(seconds time)
    {
        before_ = time;
        started_ = clock::now();
    }

    [[nodiscard]] bool running() const { return running_; }

    [[nodiscard]] seconds elapsed() const
    {
        return before_ + (running_ ? seconds(clock::now() - started_) : seconds::zero());
    }

private:
    using clock = std::chrono::steady_clock;

    bool running_ = false;
    clock::time_point started_;
    seconds before_{0};
};
