#include "system/task_queue.h"

#include "system/diagnostics.h"

#include <algorithm>
#include <utility>

namespace
{

using clock = std::chrono::steady_clock;

constexpr clock::time_point never = clock::time_point::max();

/// A period in milliseconds, at least 1 and at most what the clock can tell.
clock::duration to_period(unsigned long milliseconds)
{
    constexpr unsigned long long longest =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::duration::max()).count();
    const auto held = std::clamp<unsigned long long>(milliseconds, 1, longest);
    return std::chrono::milliseconds(held);
}

clock::time_point due_after(clock::time_point start, clock::duration period)
{
    return period > never - start ? never : start + period;
}

} // namespace

void task_queue::post(task work)
{
    jobs posted;
    posted.push_back({std::move(work), nullptr});
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) {
            return;
        }
        queue_due_ticks();
        waiting_.splice(waiting_.end(), posted);
        publish_state();
    }
    changed_.notify_one();
}

unsigned long task_queue::start_interval(tick beat, unsigned long period)
{
    jobs started;
    started.push_back({nullptr, std::make_unique<interval>()});
    interval& timer = *started.front().timer;
    timer.beat = std::move(beat);
    timer.period = to_period(period);
    unsigned long id = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        id = ++last_id_;
        if (stopped_) {
            return id;
        }
        timer.id = id;
        intervals_.emplace(id, started.begin());
        go_to_sleep(started, clock::now());
    }
    changed_.notify_one();
    return id;
}

void task_queue::end_interval(unsigned long id)
{
    jobs ended;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = intervals_.find(id);
    if (entry == intervals_.end()) {
        return;
    }
    jobs* const home = entry->second->timer->home;
    if (home != nullptr) {
        ended.splice(ended.begin(), *home, entry->second);
        publish_state();
    }
    intervals_.erase(entry);
}

bool task_queue::run_one()
{
    if (!any_waiting_.load(std::memory_order_relaxed)) {
        const clock::rep due = next_due_.load(std::memory_order_relaxed);
        if (due == never.time_since_epoch().count() ||
            clock::now().time_since_epoch().count() < due) {
            return false;
        }
    }
    jobs next;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!take_job(next)) {
            return false;
        }
    }
    run(next);
    return true;
}

void task_queue::stop() noexcept
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_locked();
    }
    changed_.notify_one();
}

bool task_queue::stop(task& completion)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (ended_) {
            return false;
        }
        completions_.push_back(std::move(completion));
        stop_locked();
    }
    changed_.notify_one();
    return true;
}

void task_queue::work()
{
    for (;;) {
        jobs next;
        if (!wait_for_job(next)) {
            break;
        }
        run(next);
    }
    drop_the_rest();
    call_completions();
}

bool task_queue::wait_for_job(jobs& next)
{
    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        if (take_job(next)) {
            return true;
        }
        const clock::time_point due = sleeping_.empty() ? never : sleeping_.front().timer->due;
        if (due == never) {
            changed_.wait(lock);
        } else {
            changed_.wait_until(lock, due);
        }
    }
    return false;
}

bool task_queue::take_job(jobs& next)
{
    queue_due_ticks();
    if (waiting_.empty()) {
        return false;
    }
    next.splice(next.begin(), waiting_, waiting_.begin());
    if (next.front().timer != nullptr) {
        next.front().timer->home = nullptr;
    }
    publish_state();
    return true;
}

void task_queue::queue_due_ticks()
{
    if (sleeping_.empty()) {
        return;
    }
    const clock::time_point now = clock::now();
    while (!sleeping_.empty() && sleeping_.front().timer->due <= now) {
        sleeping_.front().timer->home = &waiting_;
        waiting_.splice(waiting_.end(), sleeping_, sleeping_.begin());
    }
}

void task_queue::run(jobs& current)
{
    if (current.front().timer != nullptr) {
        run_tick(current);
        return;
    }
    try {
        current.front().work();
    } catch (...) {
        report_current_exception();
    }
}

void task_queue::run_tick(jobs& current)
{
    const clock::time_point start = clock::now();
    interval& timer = *current.front().timer;
    bool again = false;
    try {
        again = timer.beat();
    } catch (...) {
        report_current_exception();
    }

    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = intervals_.find(timer.id);
    if (entry == intervals_.end()) {
        return; // ended while its tick ran
    }
    if (again) {
        go_to_sleep(current, start);
    } else {
        intervals_.erase(entry);
    }
}

void task_queue::go_to_sleep(jobs& current, clock::time_point start)
{
    interval& timer = *current.front().timer;
    timer.due = due_after(start, timer.period);
    const auto later = std::find_if(sleeping_.begin(), sleeping_.end(), [&timer](const job& other) {
        return other.timer->due > timer.due;
    });
    sleeping_.splice(later, current, current.begin());
    timer.home = &sleeping_;
    publish_state();
}

void task_queue::publish_state()
{
    const clock::time_point due = sleeping_.empty() ? never : sleeping_.front().timer->due;
    any_waiting_.store(!waiting_.empty(), std::memory_order_relaxed);
    next_due_.store(due.time_since_epoch().count(), std::memory_order_relaxed);
}

void task_queue::stop_locked() noexcept
{
    stopped_ = true;
    intervals_.clear();
    dropped_.splice(dropped_.end(), waiting_);
    dropped_.splice(dropped_.end(), sleeping_);
    publish_state();
}

void task_queue::drop_the_rest()
{
    jobs rest;
    const std::lock_guard<std::mutex> lock(mutex_);
    rest.swap(dropped_);
}

void task_queue::call_completions()
{
    for (;;) {
        std::list<task> asked;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (completions_.empty()) {
                ended_ = true;
                return;
            }
            asked.swap(completions_);
        }
        for (const task& completion : asked) {
            try {
                completion();
            } catch (...) {
                report_current_exception();
            }
        }
    }
}
