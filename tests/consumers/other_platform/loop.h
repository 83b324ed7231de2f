/// \file
/// \brief What one thread works off: tasks in the order posted, and intervals.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

/// No lock is held while a task, a tick, a completion or a closure's destructor runs.
class loop
{
public:
    using task = std::function<void()>;
    using tick = std::function<bool()>;

    /// Any thread.
    void post(task work);
    unsigned long start_interval(tick beat, unsigned long period);
    void end_interval(unsigned long id);
    void stop();

    /// Any thread: stops, and calls `completion` when all is done; returns false when that was before.
    bool stop(const task& completion);

    /// The loop's own thread: runs what comes first, if anything waits.
    bool run_one();

    /// The loop's own thread: works until stopped, drops the rest and calls the completions.
    void work();

private:
    using clock = std::chrono::steady_clock;

    struct interval {
        std::shared_ptr<tick> beat;
        clock::duration period;
        clock::time_point due;
    };

    bool wait_for_work();
    void queue_due_ticks();
    clock::time_point next_due() const;
    void run_tick(unsigned long id);
    void drop_the_rest();
    bool call_completions();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<task> waiting_;
    std::map<unsigned long, interval> intervals_;
    std::vector<task> completions_;
    unsigned long last_id_ = 0;
    bool stopped_ = false;
    bool ended_ = false;
};
