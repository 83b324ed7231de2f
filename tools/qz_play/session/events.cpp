#include "session/events.h"

#include <utility>

void event_queue::push(event happened)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(std::move(happened));
    }
    pushed_.notify_one();
}

std::optional<event> event_queue::pop_until(clock::time_point deadline)
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!pushed_.wait_until(lock, deadline, [this] { return !events_.empty(); })) {
        return std::nullopt;
    }
    event next = std::move(events_.front());
    events_.pop_front();
    return next;
}

void event_relay::push(event happened)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (queue_) {
        queue_->push(std::move(happened));
    }
}

void event_relay::close()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_.reset();
}
