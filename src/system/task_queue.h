/// \file
/// \brief What a worker thread works off: tasks in the order posted, and interval timers.
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

/// A queue that many threads post to and one worker thread works off.
///
/// No lock is held while a task, a tick, a completion or the destructor of a closure runs.
class task_queue
{
public:
    using task = std::function<void()>;
    using tick = std::function<bool()>;

    /// Any thread: appends `work`; drops it when the queue has been stopped.
    void post(task work);

    /// Any thread: calls `beat` once every `period` milliseconds until it returns false. Returns an id
    /// that is never 0 and never used again.
    unsigned long start_interval(tick beat, unsigned long period);

    /// Any thread: the interval's tick is not called again once what the worker has begun is over. Ignores
    /// an id that has ended.
    void end_interval(unsigned long id);

    /// Worker's thread, nested to any depth: runs at most one waiting task or due tick; returns whether
    /// one ran.
    bool run_one();

    /// Any thread: lets the worker finish what runs, drop the rest and end.
    void stop() noexcept;

    /// Any thread: stops, and has `completion` called by the worker when it has dropped the rest.
    /// Returns false, and leaves `completion` to the caller, when the worker has ended already.
    bool stop(task& completion);

    /// Worker's thread: works until the queue has been stopped, then drops the rest and calls the
    /// completions.
    void work();

private:
    using clock = std::chrono::steady_clock;

    struct interval;
    using intervals = std::list<interval>;

    struct interval {
        tick beat;
        unsigned long id = 0;
        clock::duration period{};
        clock::time_point due;
        std::size_t behind = 0; ///< How many tasks had been posted when the tick was queued.
        intervals* home =
            nullptr; ///< The list that holds the interval: sleeping_, due_, or none while the tick runs.
    };

    /// What runs next: a task, or the tick of the one interval in the list.
    struct job {
        task work;
        intervals timer;
    };

    bool take_job(job& next);
    bool wait_for_job(job& next);
    bool take_from_batch(task& next);
    bool take_waiting(job& next);
    void queue_due_ticks();
    void run(job& current);
    void run_tick(intervals& current);
    void go_to_sleep(intervals& current, clock::time_point start);
    void publish_state();
    void stop_locked() noexcept;
    void drop_the_rest();
    void drop_batch();
    void call_completions();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<task> posted_; ///< What waits behind the batch.
    std::size_t posted_count_ = 0;
    intervals due_; ///< Ticks that wait, each behind the tasks that were posted before it was due.
    intervals sleeping_; ///< By due time, earliest first.
    intervals dropped_;  ///< What a stop has left for the worker to destroy.
    std::map<unsigned long, intervals::iterator> by_id_;
    unsigned long last_id_ = 0;
    std::list<task> completions_;
    std::atomic<bool> stopped_{false}; ///< Set under the mutex.
    bool ended_ = false;
    bool asleep_ = false;

    // The worker's own: it takes all that is posted at once, and works it off without the mutex.
    std::deque<task> batch_;
    std::size_t taken_count_ = 0;
    std::size_t free_to_take_ = 0; ///< How many of the batch come before the next tick.
    std::size_t jobs_since_sleep_ = 0;

    // Copies for run_one, which is called between every two blocks of sound: it takes the mutex only
    // when there is something to run.
    std::atomic<bool> any_waiting_{false};
    std::atomic<clock::rep> next_due_{clock::time_point::max().time_since_epoch().count()};
};
