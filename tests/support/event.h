/// \file
/// \brief Waiting for what other threads do.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

/// How long anything may take. It only turns a hang into a failure.
constexpr std::chrono::seconds patience{120};

/// Something that happens once.
class event
{
public:
    void set()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        is_set_ = true;
        changed_.notify_all();
    }

    /// Waits until it has happened. Returns false when patience ran out.
    [[nodiscard]] bool wait()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, patience, [this] { return is_set_; });
    }

    [[nodiscard]] bool is_set()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return is_set_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool is_set_ = false;
};

/// Asks again and again until `happened` returns true. Returns false when patience ran out. For what
/// nobody tells.
template <typename Predicate>
[[nodiscard]] bool wait_until(Predicate happened)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!happened()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}
