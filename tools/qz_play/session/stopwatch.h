/// \file
/// \brief A clock that stops with the sound.
#pragma once

#include <chrono>
#include <utility>

class stopwatch
{
public:
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    void start(clock::time_point now = clock::now())
    {
        if (!running_) {
            running_ = true;
            started_ = now;
        }
    }

    void stop(clock::time_point now = clock::now())
    {
        set(elapsed(now), now);
        running_ = false;
    }

    /// Shows `time` and goes on from there.
    void set(seconds time, clock::time_point now = clock::now())
    {
        before_ = time;
        started_ = now;
        looked_ = time;
        longest_step_ = seconds::zero();
    }

    /// Remembers how far it has come. To be called again and again.
    void look(clock::time_point now = clock::now())
    {
        const seconds shown = elapsed(now);
        const seconds step = shown - std::exchange(looked_, shown);
        if (step > longest_step_ || now - longest_step_seen_ > recent) {
            longest_step_ = step;
            longest_step_seen_ = now;
        }
    }

    /// Takes back the time for which the process was stopped from outside. Nobody tells that time: it is
    /// the longest of the last steps, since some looks may have come first.
    void take_back_stop(clock::time_point now = clock::now())
    {
        look(now);
        set(looked_ - longest_step_, now);
    }

    [[nodiscard]] bool running() const { return running_; }

    [[nodiscard]] seconds elapsed(clock::time_point now = clock::now()) const
    {
        return before_ + (running_ ? seconds(now - started_) : seconds::zero());
    }

private:
    static constexpr std::chrono::seconds recent{3};

    bool running_ = false;
    clock::time_point started_;
    seconds before_{0};
    seconds looked_{0};
    seconds longest_step_{0};
    clock::time_point longest_step_seen_;
};
