/// \file
/// \brief What a simulated thread works off: tasks in the order posted, and interval timers.
#pragma once

#include "scheduler.h"

#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>

namespace simulation
{

/// A thread of the platform and its queue. No lock is needed: a step is never interrupted.
class platform_queue
{
public:
    using task = std::function<void()>;
    using tick = std::function<bool()>;

    /// Starts the thread; `at_end` is called when it has ended.
    platform_queue(const std::string& name, std::function<void()> at_end);
    platform_queue(const platform_queue&) = delete;
    platform_queue& operator=(const platform_queue&) = delete;

    void post(task work);
    unsigned long start_interval(tick beat, unsigned long period);
    void end_interval(unsigned long id);
    bool run_one();

    /// `completion` is called by the thread at its end, or by `late` if it has ended.
    void stop(task completion, platform_queue& late);

    /// The same for a service that nobody will ask anything any more.
    void stop();

    /// The thread ends once nothing waits and `is_idle` agrees.
    void end_when(std::function<bool()> is_idle);
    void reconsider();

    [[nodiscard]] bool has_ended() const { return ended_; }
    [[nodiscard]] const thread& own_thread() const { return *thread_; }

private:
    struct interval {
        tick beat;
        milliseconds period;
        milliseconds due;
        bool queued;
        operation request;
    };

    struct job {
        task work;
        unsigned long interval_id;
        operation request;
        stop_request* stop;
    };

    void work();
    void run(job current);
    void run_work(job& current);
    void run_tick(unsigned long id);
    void queue_due_ticks();
    [[nodiscard]] milliseconds next_due() const;
    void drop_the_rest();

    thread* thread_ = nullptr;
    std::deque<job> waiting_;
    std::map<unsigned long, std::shared_ptr<interval>> intervals_;
    unsigned long last_id_ = 0;
    std::list<task> completions_;
    std::function<bool()> is_idle_;
    std::function<void()> at_end_;
    bool stopped_ = false;
    bool ended_ = false;
};

} // namespace simulation
