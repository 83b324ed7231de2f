/// \file
/// \brief What happened, in order, on any thread.
#pragma once

#include "event.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

class journal
{
public:
    void note(std::string entry)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back(std::move(entry));
        changed_.notify_all();
    }

    [[nodiscard]] std::vector<std::string> entries()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

    /// Waits until there are `count` entries. Returns false when patience ran out.
    [[nodiscard]] bool wait_for(std::size_t count)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        return changed_.wait_for(lock, patience, [&] { return entries_.size() >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> entries_;
};

/// Something for a closure to own: `action` runs when the last copy of it is destroyed.
inline std::shared_ptr<void> at_end(std::function<void()> action)
{
    static char owned;
    return {&owned, [action = std::move(action)](void*) { action(); }};
}
