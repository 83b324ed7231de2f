#include "platform_queue.h"

#include "invariants.h"
#include "players.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace simulation
{

namespace
{

scheduler& schedule()
{
    return *scheduler::running();
}

thread& self()
{
    return *schedule().current();
}

/// What a task that is posted now is for: the request that posts it, or the one whose task does.
operation current_request()
{
    if (self().request != operation::none) {
        return self().request;
    }
    return self().jobs.empty() ? operation::none : self().jobs.back();
}

milliseconds due_after(milliseconds period)
{
    return period > never - schedule().now() ? never : schedule().now() + period;
}

/// While others' code runs for a request, it makes none itself.
class task_of
{
public:
    explicit task_of(operation request) { self().jobs.push_back(request); }
    ~task_of() { self().jobs.pop_back(); }
    task_of(const task_of&) = delete;
    task_of& operator=(const task_of&) = delete;
};

template <typename Work>
void run_guarded(const Work& work)
{
    try {
        work();
    } catch (const std::exception& exception) {
        check_exception(self(), exception.what());
    } catch (...) {
        check_exception(self(), "unknown exception");
    }
}

} // namespace

platform_queue::platform_queue(const std::string& name, std::function<void()> at_end)
    : at_end_(std::move(at_end))
{
    thread_ = &schedule().start(name, [this] { work(); });
}

void platform_queue::post(task work)
{
    if (stopped_) {
        return; // the closure goes with the argument
    }
    queue_due_ticks();
    const operation request = current_request();
    const thread& worker = *thread_; // this queue may end at the point
    waiting_.push_back({std::move(work), 0, request, std::exchange(self().stop, nullptr)});
    note_posting(worker, request);
    schedule().notify(this);
    schedule().point("has posted to", worker.name);
    note_posted(worker, request);
}

unsigned long platform_queue::start_interval(tick beat, unsigned long period)
{
    const unsigned long id = ++last_id_;
    if (!stopped_) {
        const milliseconds time = std::max(period, 1UL);
        intervals_[id] = std::make_shared<interval>(
            interval{std::move(beat), time, due_after(time), false, current_request()});
        check_intervals(*thread_, intervals_.size());
        schedule().notify(this);
    }
    return id;
}

void platform_queue::end_interval(unsigned long id)
{
    const auto ended = intervals_.extract(id);
    waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(),
                                  [&](const job& each) { return each.interval_id == id; }),
                   waiting_.end());
}

bool platform_queue::run_one()
{
    queue_due_ticks();
    if (stopped_ || waiting_.empty()) {
        return false;
    }
    job next = std::move(waiting_.front());
    waiting_.pop_front();
    run(std::move(next));
    return true;
}

void platform_queue::stop(task completion, platform_queue& late)
{
    if (ended_) {
        late.post(std::move(completion));
        return;
    }
    stop();
    if (schedule().choices().one_in(2)) {
        completions_.push_back(std::move(completion));
    } else {
        completions_.push_back(
            [&late, completion = std::move(completion)] { late.post(completion); });
    }
}

void platform_queue::stop()
{
    stopped_ = true;
    schedule().notify(this);
}

void platform_queue::end_when(std::function<bool()> is_idle)
{
    is_idle_ = std::move(is_idle);
    reconsider();
}

void platform_queue::reconsider()
{
    schedule().notify(this);
}

void platform_queue::work()
{
    while (!stopped_) {
        queue_due_ticks();
        if (!waiting_.empty()) {
            job next = std::move(waiting_.front());
            waiting_.pop_front();
            run(std::move(next));
        } else if (is_idle_ && is_idle_()) {
            stopped_ = true;
        } else {
            schedule().wait(this, next_due());
        }
    }
    drop_the_rest();
    ended_ = true;
    at_end_();
}

void platform_queue::run(job current)
{
    schedule().point("begins a task for", name_of(current.request));
    const task_of request(current.request);
    if (player* const of = observed().find(*thread_)) {
        check_task_begins(*of, current.request);
    }
    run_guarded([&] { run_work(current); });
    schedule().point("has done a task for", name_of(current.request));
    if (player* const of = observed().find(*thread_)) {
        check_task_ended(*of, thread_->jobs.size() == 1);
    }
}

void platform_queue::run_work(job& current)
{
    if (current.work) {
        if (current.stop != nullptr) {
            current.stop->ran = true;
        }
        current.work();
    } else {
        run_tick(current.interval_id);
    }
}

void platform_queue::run_tick(unsigned long id)
{
    const auto timer = intervals_.at(id); // it may be ended while it runs
    timer->due = due_after(timer->period);
    const bool goes_on = timer->beat();
    timer->queued = false;
    if (!goes_on) {
        intervals_.erase(id);
    }
}

void platform_queue::queue_due_ticks()
{
    for (auto& [id, timer] : intervals_) {
        if (!timer->queued && timer->due <= schedule().now()) {
            timer->queued = true;
            waiting_.push_back({nullptr, id, timer->request, nullptr});
        }
    }
}

milliseconds platform_queue::next_due() const
{
    milliseconds next = never;
    for (const auto& [id, timer] : intervals_) {
        next = std::min(next, timer->due);
    }
    return next;
}

/// What waits is destroyed, then the completions are called. Both may call in here.
void platform_queue::drop_the_rest()
{
    while (!waiting_.empty() || !intervals_.empty()) {
        const auto waiting = std::exchange(waiting_, {});
        const auto intervals = std::exchange(intervals_, {});
        schedule().point("drops what waits");
    }
    while (!completions_.empty()) {
        const task completion = std::move(completions_.front());
        completions_.pop_front();
        const task_of request(operation::destroy);
        schedule().point("calls the completion of a stop");
        run_guarded(completion);
    }
}

} // namespace simulation
