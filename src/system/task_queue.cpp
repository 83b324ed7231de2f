#include "system/task_queue.h"

#include "system/diagnostics.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace
{

using clock = std::chrono::steady_clock;

/// A worker that has run so many jobs without a sleep lets others go on before it sleeps: in a burst of posts
/// the next one comes at once, and falling asleep and being woken cost more than a task. Else it sleeps at
/// once: a thread that is woken comes before the others of a busy core, one that yields after them.
constexpr std::size_t jobs_of_burst = 64;

constexpr clock::time_point never = clock::time_point::max();
constexpr clock::rep never_due = never.time_since_epoch().count();

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
    bool wake = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopped_) {
            return;
        }
        queue_due_ticks();
        posted_.push_back(std::move(work));
        ++posted_count_;
        publish_state();
        wake = std::exchange(asleep_, false);
    }
    if (wake) {
        changed_.notify_one();
    }
}

unsigned long task_queue::start_interval(tick beat, unsigned long period)
{
    intervals started(1);
    interval& timer = started.front();
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
        by_id_.emplace(id, started.begin());
        go_to_sleep(started, clock::now());
    }
    changed_.notify_one();
    return id;
}

void task_queue::end_interval(unsigned long id)
{
    intervals ended;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = by_id_.find(id);
    if (entry == by_id_.end()) {
        return;
    }
    intervals* const home = entry->second->home;
    if (home != nullptr) {
        ended.splice(ended.begin(), *home, entry->second);
        publish_state();
    }
    by_id_.erase(entry);
}

bool task_queue::run_one()
{
    if (batch_.empty() && !any_waiting_.load(std::memory_order_relaxed)) {
        const clock::rep due = next_due_.load(std::memory_order_relaxed);
        if (due == never_due || clock::now().time_since_epoch().count() < due) {
            return false;
        }
    }
    job next;
    if (!take_job(next)) {
        return false;
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
        job next;
        if (!wait_for_job(next)) {
            break;
        }
        ++jobs_since_sleep_;
        run(next);
    }
    drop_the_rest();
    call_completions();
}

bool task_queue::take_job(job& next)
{
    if (take_from_batch(next.work)) {
        return true;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    return !stopped_ && take_waiting(next);
}

bool task_queue::wait_for_job(job& next)
{
    if (take_job(next)) {
        return true;
    }
    if (jobs_since_sleep_ >= jobs_of_burst && next_due_ == never_due) {
        std::this_thread::yield();
    }

    std::unique_lock<std::mutex> lock(mutex_);
    while (!stopped_) {
        if (take_waiting(next)) {
            return true;
        }
        asleep_ = true;
        const clock::time_point due = sleeping_.empty() ? never : sleeping_.front().due;
        if (due == never) {
            changed_.wait(lock);
        } else {
            changed_.wait_until(lock, due);
        }
        asleep_ = false;
        jobs_since_sleep_ = 0;
    }
    return false;
}

bool task_queue::take_from_batch(task& next)
{
    if (free_to_take_ == 0 || stopped_.load(std::memory_order_relaxed)) {
        return false;
    }
    next = std::move(batch_.front());
    batch_.pop_front();
    ++taken_count_;
    --free_to_take_;
    return true;
}

bool task_queue::take_waiting(job& next)
{
    queue_due_ticks();
    if (batch_.empty()) {
        batch_.swap(posted_);
    }
    bool taken = false;
    if (!due_.empty() && due_.front().behind == taken_count_) {
        next.timer.splice(next.timer.begin(), due_, due_.begin());
        next.timer.front().home = nullptr;
        taken = true;
    } else {
        free_to_take_ = due_.empty() ? batch_.size()
                                     : std::min(batch_.size(), due_.front().behind - taken_count_);
        taken = take_from_batch(next.work);
    }
    publish_state();
    return taken;
}

void task_queue::queue_due_ticks()
{
    if (sleeping_.empty()) {
        return;
    }
    const clock::time_point now = clock::now();
    while (!sleeping_.empty() && sleeping_.front().due <= now) {
        sleeping_.front().behind = posted_count_;
        sleeping_.front().home = &due_;
        due_.splice(due_.end(), sleeping_, sleeping_.begin());
    }
}

void task_queue::run(job& current)
{
    if (!current.timer.empty()) {
        run_tick(current.timer);
        return;
    }
    try {
        current.work();
    } catch (...) {
        report_current_exception();
    }
}

void task_queue::run_tick(intervals& current)
{
    const clock::time_point start = clock::now();
    interval& timer = current.front();
    bool again = false;
    try {
        again = timer.beat();
    } catch (...) {
        report_current_exception();
    }

    const std::lock_guard<std::mutex> lock(mutex_);
    const auto entry = by_id_.find(timer.id);
    if (entry == by_id_.end()) {
        return; // ended while its tick ran
    }
    if (again) {
        go_to_sleep(current, start);
    } else {
        by_id_.erase(entry);
    }
}

void task_queue::go_to_sleep(intervals& current, clock::time_point start)
{
    interval& timer = current.front();
    timer.due = due_after(start, timer.period);
    const auto later =
        std::find_if(sleeping_.begin(), sleeping_.end(),
                     [&timer](const interval& other) { return other.due > timer.due; });
    sleeping_.splice(later, current, current.begin());
    timer.home = &sleeping_;
    publish_state();
}

void task_queue::publish_state()
{
    const clock::time_point due = sleeping_.empty() ? never : sleeping_.front().due;
    any_waiting_.store(!posted_.empty() || !due_.empty(), std::memory_order_relaxed);
    next_due_.store(due.time_since_epoch().count(), std::memory_order_relaxed);
}

void task_queue::stop_locked() noexcept
{
    stopped_ = true;
    by_id_.clear();
    dropped_.splice(dropped_.end(), due_);
    dropped_.splice(dropped_.end(), sleeping_);
    publish_state();
}

void task_queue::drop_the_rest()
{
    drop_batch();
    intervals rest;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        batch_.swap(posted_);
        rest.swap(dropped_);
    }
    drop_batch();
}

/// One by one: a closure that is destroyed may ask for the next task.
void task_queue::drop_batch()
{
    while (!batch_.empty()) {
        const task dropped = std::move(batch_.front());
        batch_.pop_front();
    }
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
