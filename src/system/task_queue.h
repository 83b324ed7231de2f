/// \file
/// \brief What a worker thread works off: tasks in the order posted, and interval timers.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
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

    /// Any thread: the interval's tick is not called again. Ignores an id that has ended.
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

    /// A posted task, or an interval whose tick is due, asleep or running.
    struct job {
        task work;
        std::unique_ptr<interval> timer;
    };
    using jobs = std::list<job>;

    struct interval {
        tick beat;
        unsigned long id = 0;
        clock::duration period{};
        clock::time_point due;
        jobs* home =
            nullptr; ///< The list that holds the job: sleeping_, waiting_, or none while the tick runs.
    };

    bool wait_for_job(jobs& next);
    bool take_job(jobs& next);
    void queue_due_ticks();
    void run(jobs& current);
    void run_tick(jobs& current);
    void go_to_sleep(jobs& current, clock::time_point start);
    void publish_state();
    void stop_locked() noexcept;
    void drop_the_rest();
    void call_completions();

    std::mutex mutex_;
    std::condition_variable changed_;
    jobs waiting_;
    jobs sleeping_; ///< By due time, earliest first.
    jobs dropped_;  ///< What a stop has left for the worker to destroy.
    std::map<unsigned long, jobs::iterator> intervals_;
    unsigned long last_id_ = 0;
    std::list<task> completions_;
    bool stopped_ = false;
    bool ended_ = false;

    // Copies for run_one, which is called between every two blocks of sound: it takes the mutex only
    // when there is something to run.
    std::atomic<bool> any_waiting_{false};
    std::atomic<clock::rep> next_due_{clock::time_point::max().time_since_epoch().count()};
};
