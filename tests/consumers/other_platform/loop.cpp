#include "loop.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

namespace
{

/// Far enough away, and no sum overflows.
constexpr std::chrono::hours never{24 * 365 * 100};

void guarded(const loop::task& work)
{
    try {
        work();
    } catch (const std::exception& exception) {
        std::cout << "other platform: " << exception.what() << std::endl;
    } catch (...) {
        std::cout << "other platform: unknown exception" << std::endl;
    }
}

} // namespace

void loop::post(task work)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    queue_due_ticks(); // their place is before the task
    if (!stopped_) {
        waiting_.push_back(std::move(work));
        changed_.notify_one();
    }
}

unsigned long loop::start_interval(tick beat, unsigned long period)
{
    const auto most = static_cast<unsigned long>(std::chrono::milliseconds(never).count());
    const std::chrono::milliseconds time(std::clamp(period, 1UL, most));

    const auto shared = std::make_shared<tick>(std::move(beat));
    const std::lock_guard<std::mutex> lock(mutex_);
    const unsigned long id = ++last_id_;
    if (!stopped_) {
        intervals_[id] = {shared, time, clock::now() + time};
        changed_.notify_one();
    }
    return id;
}

void loop::end_interval(unsigned long id)
{
    std::shared_ptr<tick> ended; // let go after the lock
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = intervals_.find(id);
    if (found != intervals_.end()) {
        ended = std::move(found->second.beat);
        intervals_.erase(found);
    }
}

void loop::stop()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_one();
}

bool loop::stop(const task& completion)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    changed_.notify_one();
    if (!ended_) {
        completions_.push_back(completion);
    }
    return !ended_;
}

bool loop::run_one()
{
    task work;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_due_ticks();
        if (stopped_ || waiting_.empty()) {
            return false;
        }
        work = std::move(waiting_.front());
        waiting_.pop_front();
    }
    guarded(work);
    return true;
}

void loop::work()
{
    while (wait_for_work()) {
        run_one();
    }
    drop_the_rest();
}

/// Returns false when stopped. May return early: then there is nothing to run yet.
bool loop::wait_for_work()
{
    std::unique_lock<std::mutex> lock(mutex_);
    if (!stopped_ && waiting_.empty()) {
        changed_.wait_until(lock, next_due());
    }
    return !stopped_;
}

/// Needs the lock.
void loop::queue_due_ticks()
{
    const auto now = clock::now();
    for (auto& [id, each] : intervals_) {
        if (each.due <= now) {
            each.due = clock::time_point::max(); // until it has run
            waiting_.emplace_back([this, id = id] { run_tick(id); });
        }
    }
}

/// Needs the lock.
loop::clock::time_point loop::next_due() const
{
    auto first = clock::now() + never;
    for (const auto& [id, each] : intervals_) {
        first = std::min(first, each.due);
    }
    return first;
}

void loop::run_tick(unsigned long id)
{
    const auto start = clock::now();
    std::shared_ptr<tick> beat;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = intervals_.find(id);
        if (found == intervals_.end()) {
            return;
        }
        beat = found->second.beat;
    }

    bool goes_on = false;
    guarded([&] { goes_on = (*beat)(); });
    if (!goes_on) {
        end_interval(id);
        return;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = intervals_.find(id);
    if (found != intervals_.end()) {
        found->second.due = start + found->second.period;
    }
}

/// What is let go here may ask for more: that is dropped, or called, too.
void loop::drop_the_rest()
{
    {
        std::unique_lock<std::mutex> lock(mutex_);
        const auto intervals = std::exchange(intervals_, {});
        const auto waiting = std::exchange(waiting_, {});
        lock.unlock();
    }
    while (call_completions()) {
    }
}

/// Returns false when there are none, nor ever will be.
bool loop::call_completions()
{
    std::vector<task> completions; // outlives the lock
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        completions.swap(completions_);
        ended_ = completions.empty();
    }
    for (const task& each : completions) {
        guarded(each);
    }
    return !completions.empty();
}
