/// \file
/// \brief Waiting until all of many have come so far.
#pragma once

#include <condition_variable>
#include <mutex>

/// What C++20 calls std::latch.
class countdown
{
public:
    explicit countdown(int count) : left_(count) {}

    void arrive()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (--left_ == 0) {
            all_here_.notify_all();
        }
    }

    void wait()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        all_here_.wait(lock, [this] { return left_ <= 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable all_here_;
    int left_;
};
