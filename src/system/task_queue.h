/// \file
/// \brief The queue of a worker thread: tasks in the order posted, and interval timers.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <mutex>

/// A queue that many threads post to and one worker thread runs.
///
/// No lock is held while a task, a tick, a completion or the destructor of a closure runs.
class task_queue
{
public:
    using task = std::function<void()>;
    using tick = std::function<bool()>;

    /// Any thread: appends `work`, or discards it if the queue has been stopped.
    void post(task&& work);

    /// Any thread: calls `callback` once every `period` milliseconds until it returns false. Returns an id
    /// that is never 0 and never reused.
    unsigned long start_interval(tick&& callback, unsigned long period);

    /// Any thread, never waits: ends an interval, whose callback does not start again. A tick that is
    /// running, or just being started, finishes. Ignores an id whose interval has ended.
    void end_interval(unsigned long id);

    /// Worker's thread, nested to any depth: runs at most one waiting task or due tick. Returns whether
    /// it took one.
    bool run_one();

    /// Any thread: the worker finishes its current task, discards the rest and ends.
    void stop() noexcept;

    /// Any thread: the same, and the worker calls `completion` at its end. Returns false, and leaves
    /// `completion` as it is, if the worker has already ended.
    bool stop(task& completion);

    /// Worker's thread: runs tasks until the queue is stopped, then discards the rest and calls the
    /// completions.
    void work();

private:
    using clock = std::chrono::steady_clock;

    struct interval {
        tick callback; ///< Empty while its tick runs.
        clock::duration period{};
        clock::time_point due;
        bool queued = false; ///< Its tick is in the queue, or is running.
    };
    using interval_map = std::map<unsigned long, interval>;

    bool wait_for_batch();
    void sleep(std::unique_lock<std::mutex>& lock);
    bool refill_batch();
    void queue_due_ticks();
    interval_map::iterator earliest_interval();
    void update_next_due();
    void run_first_of_batch();
    void run_tick(unsigned long id);
    void discard_pending();
    void call_completions();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<task> posted_; ///< Tasks and due ticks, in the order in which they run.
    interval_map intervals_;
    unsigned long last_id_ = 0;
    std::list<task> completions_;
    bool worker_ended_ = false;
    bool asleep_ = false;

    // Written under the mutex. The worker also reads them without it: run_one is called between every two
    // blocks of sound, and takes the mutex only if there is something to run.
    std::atomic<bool> stopped_{false};
    std::atomic<bool> has_posted_{false};
    std::atomic<clock::time_point> next_due_{clock::time_point::max()};

    // The worker's own: it takes all that is posted at once, and runs it without the mutex.
    std::deque<task> batch_;
    std::size_t runs_since_sleep_ = 0;
};
