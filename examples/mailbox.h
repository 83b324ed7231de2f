/// \file
/// \brief Passes events from callbacks to the main program.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

/// Callbacks put events in, and the main program takes them out in the same order. Callbacks can be called
/// after main has stopped waiting, so they share the mailbox and keep no references.
template <class Event>
class mailbox
{
public:
    void put(Event event)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        events_.push_back(event);
        arrived_.notify_one();
    }

    Event take()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        arrived_.wait(lock, [this] { return !events_.empty(); });
        return take_first();
    }

    /// Returns nothing if no event comes in time.
    std::optional<Event> take_within(std::chrono::milliseconds time)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const bool came = arrived_.wait_for(lock, time, [this] { return !events_.empty(); });
        return came ? std::optional<Event>(take_first()) : std::nullopt;
    }

private:
    Event take_first()
    {
        const Event event = events_.front();
        events_.pop_front();
        return event;
    }

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<Event> events_;
};

template <class Event>
std::shared_ptr<mailbox<Event>> make_mailbox()
{
    return std::make_shared<mailbox<Event>>();
}
