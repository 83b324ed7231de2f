#include "system/task_queue.h"

#include "system/diagnostics.h"

#include <algorithm>
#include <new>
#include <thread>
#include <utility>

namespace
{

using clock = std::chrono::steady_clock;

/// After this many tasks without a sleep the worker yields twice before it sleeps: more tasks often follow at
/// once, and a sleep with its wake-up costs more than a task. After fewer it sleeps at once: on a busy core, a
/// thread that wakes up runs before the others, and one that has yielded runs after them.
constexpr std::size_t burst = 64;

constexpr clock::time_point never = clock::time_point::max();

/// A period in milliseconds, at least 1 and at most what the clock can represent.
clock::duration to_period(unsigned long milliseconds)
{
    constexpr unsigned long long longest =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::duration::max()).count();
    return std::chrono::milliseconds(std::clamp<unsigned long long>(milliseconds, 1, longest));
}

clock::time_point due_after(clock::time_point start, clock::duration period)
{
    return period > never - start ? never : start + period;
}

/// Locks `mutex`. Tries three times, with a yield between, before it blocks: the mutex is held for less time
/// than blocking and waking up take.
std::unique_lock<std::mutex> lock_with_yield(std::mutex& mutex)
{
    std::unique_lock<std::mutex> lock(mutex, std::try_to_lock);
    for (int tries = 0; tries < 2 && !lock; ++tries) {
        std::this_thread::yield();
        static_cast<void>(lock.try_lock());
    }
    if (!lock) {
        lock.lock();
    }
    return lock;
}

} // namespace

void task_queue::post(task&& work)
{
    bool wake = false;
    {
        const std::unique_lock<std::mutex> lock = lock_with_yield(mutex_);
        if (stopped_) {
            return;
        }
        queue_due_ticks();
        posted_.push_back(std::move(work));
        has_posted_.store(true, std::memory_order_relaxed);
        wake = std::exchange(asleep_, false);
    }
    if (wake) {
        changed_.notify_one();
    }
}

unsigned long task_queue::start_interval(tick&& callback, unsigned long period)
{
    interval started;
    started.callback = std::move(callback);
    started.period = to_period(period);
    unsigned long id = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        id = ++last_id_;
        if (stopped_) {
            return id;
        }
        started.due = due_after(clock::now(), started.period);
        intervals_.emplace(id, std::move(started));
        update_next_due();
    }
    changed_.notify_one();
    return id;
}

void task_queue::end_interval(unsigned long id)
{
    interval_map::node_type ended; // destroyed after the lock is released
    const std::lock_guard<std::mutex> lock(mutex_);
    ended = intervals_.extract(id);
    update_next_due();
}

bool task_queue::run_one()
{
    if (stopped_.load(std::memory_order_relaxed)) {
        return false;
    }
    if (batch_.empty()) {
        if (!has_posted_.load(std::memory_order_relaxed)) {
            const clock::time_point due = next_due_.load(std::memory_order_relaxed);
            if (due == never || clock::now() < due) {
                return false;
            }
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_ || !refill_batch()) {
            return false;
        }
    }
    run_first_of_batch();
    return true;
}

void task_queue::stop() noexcept
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopped_ = true;
    }
    changed_.notify_one();
}

bool task_queue::stop(task& completion)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (worker_ended_) {
            return false;
        }
        completions_.push_back(std::move(completion));
        stopped_ = true;
    }
    changed_.notify_one();
    return true;
}

void task_queue::work()
{
    while (wait_for_batch()) {
        ++runs_since_sleep_;
        run_first_of_batch();
    }
    discard_pending();
    call_completions();
}

/// Waits until there is something to run. Returns false once the queue has been stopped.
bool task_queue::wait_for_batch()
{
    if (!batch_.empty() && !stopped_.load(std::memory_order_relaxed)) {
        return true;
    }
    if (runs_since_sleep_ >= burst && next_due_.load(std::memory_order_relaxed) == never) {
        std::this_thread::yield();
        std::this_thread::yield();
    }
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_ && !refill_batch()) {
        sleep(lock);
    }
    return !stopped_;
}

void task_queue::sleep(std::unique_lock<std::mutex>& lock)
{
    const clock::time_point due = next_due_;
    asleep_ = true;
    if (due == never) {
        changed_.wait(lock);
    } else {
        changed_.wait_until(lock, due);
    }
    asleep_ = false;
    runs_since_sleep_ = 0;
}

/// Takes all that is posted, if nothing is left of the batch. Returns whether there is something to run.
bool task_queue::refill_batch()
{
    queue_due_ticks();
    if (batch_.empty()) {
        batch_.swap(posted_);
        has_posted_.store(false, std::memory_order_relaxed);
    }
    return !batch_.empty();
}

/// Called whenever the queue is about to change, so that a due tick runs after the tasks that were posted
/// before it was due, and before the later ones.
void task_queue::queue_due_ticks()
{
    if (next_due_.load(std::memory_order_relaxed) == never) {
        return;
    }
    const clock::time_point now = clock::now();
    while (next_due_.load(std::memory_order_relaxed) <= now) {
        const auto next = earliest_interval();
        try {
            posted_.emplace_back([this, id = next->first] { run_tick(id); });
            has_posted_.store(true, std::memory_order_relaxed);
            next->second.queued = true;
        } catch (const std::bad_alloc&) {
            next->second.due = due_after(now, std::chrono::milliseconds(1)); // retry
        }
        update_next_due();
    }
}

/// The interval whose tick is to be queued next, or the end. A search is fine: a player has one interval.
task_queue::interval_map::iterator task_queue::earliest_interval()
{
    auto earliest = intervals_.end();
    for (auto entry = intervals_.begin(); entry != intervals_.end(); ++entry) {
        if (!entry->second.queued &&
            (earliest == intervals_.end() || entry->second.due < earliest->second.due)) {
            earliest = entry;
        }
    }
    return earliest;
}

void task_queue::update_next_due()
{
    const auto next = earliest_interval();
    next_due_.store(next != intervals_.end() ? next->second.due : never, std::memory_order_relaxed);
}

void task_queue::run_first_of_batch()
{
    const task first = std::move(batch_.front());
    batch_.pop_front();
    try {
        first();
    } catch (...) {
        report_current_exception();
    }
}

void task_queue::run_tick(unsigned long id)
{
    tick callback; // destroyed after the lock is released, if the interval ends
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto entry = intervals_.find(id);
        if (entry == intervals_.end()) {
            return;
        }
        callback.swap(entry->second.callback);
    }

    const clock::time_point start = clock::now();
    bool again = false;
    try {
        again = callback();
    } catch (...) {
        report_current_exception();
    }

    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = intervals_.find(id);
    if (entry == intervals_.end()) {
        return; // ended while its tick ran
    }
    if (again) {
        entry->second.callback.swap(callback);
        entry->second.due = due_after(start, entry->second.period);
        entry->second.queued = false;
    } else {
        intervals_.erase(entry);
    }
    update_next_due();
}

void task_queue::discard_pending()
{
    batch_.clear();
    interval_map intervals;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        batch_.swap(posted_);
        intervals.swap(intervals_);
    }
    batch_.clear();
}

void task_queue::call_completions()
{
    for (;;) {
        std::list<task> pending;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (completions_.empty()) {
                worker_ended_ = true;
                return;
            }
            pending.swap(completions_);
        }
        for (const task& completion : pending) {
            try {
                completion();
            } catch (...) {
                report_current_exception();
            }
        }
    }
}
