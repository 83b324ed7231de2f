#include "scheduler.h"

#include "invariants.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace simulation
{

namespace
{

scheduler* the_scheduler = nullptr;

} // namespace

scheduler::scheduler(std::uint64_t seed, bool trace)
    : choices_(seed), trace_(trace), persistence_(choices_.one_of({0U, 50U, 80U, 95U})),
      haste_(choices_.one_of({8U, 64U, 256U, 2048U}))
{
    the_scheduler = this;
}

scheduler::~scheduler()
{
    the_scheduler = nullptr;
}

scheduler* scheduler::running()
{
    return the_scheduler;
}

thread& scheduler::start(const std::string& name, std::function<void()> body)
{
    const std::size_t index = threads_.size();
    const unsigned weight = choices_.one_of({1U, 8U, 8U, 64U});
    threads_.push_back(std::make_unique<thread>(
        name, weight, [this, index, body = std::move(body)] { run_to_end(index, body); }));
    return *threads_.back();
}

void scheduler::run_to_end(std::size_t index, const std::function<void()>& body)
{
    body();
    thread& self = *threads_[index];
    self.ended = true;
    end_step("ends", "");
    go_on();
}

void scheduler::run()
{
    thread& first = choose();
    current_ = &first;
    fiber::switch_to(outside_, first.flow);
    current_ = nullptr;
}

void scheduler::point(const char* what, const std::string& of)
{
    end_step(what, of);
    let_time_pass();
    go_on();
}

void scheduler::wait(const void* event, milliseconds until)
{
    current_->waits_for = event;
    current_->until = until;
    end_step("waits", "");
    go_on();
}

void scheduler::notify(const void* event)
{
    for (const auto& each : threads_) {
        if (each->waits_for == event) {
            each->waits_for = nullptr;
            each->until = never;
        }
    }
}

void scheduler::sleep(milliseconds duration)
{
    wait(current_, now_ + duration);
}

void scheduler::end_step(const char* what, const std::string& of)
{
    if (trace_) {
        std::fprintf(stderr, "%6llu %6llu ms  %-10s %s %s\n",
                     static_cast<unsigned long long>(steps_), static_cast<unsigned long long>(now_),
                     current_->name.c_str(), what, of.c_str());
    }
    check_step_count(++steps_);
    check_after_step();
}

void scheduler::let_time_pass()
{
    if (choices_.one_in(haste_)) {
        advance();
    }
}

/// Goes on to the time at which the next waiting thread can go on. Returns whether there is one.
bool scheduler::advance()
{
    milliseconds next = never;
    for (const auto& each : threads_) {
        next = std::min(next, each->until);
    }
    if (next == never) {
        return false;
    }
    now_ = std::max(now_, next);
    for (const auto& each : threads_) {
        if (each->until <= now_) {
            each->waits_for = nullptr;
            each->until = never;
        }
    }
    return true;
}

thread* scheduler::choose_among_ready()
{
    const auto is_ready = [](const thread& each) {
        return !each.ended && each.waits_for == nullptr;
    };
    if (current_ != nullptr && is_ready(*current_) && choices_.below(100) < persistence_) {
        return current_;
    }
    unsigned total = 0;
    for (const auto& each : threads_) {
        total += is_ready(*each) ? each->weight : 0;
    }
    if (total == 0) {
        return nullptr;
    }
    unsigned drawn = choices_.below(total);
    for (const auto& each : threads_) {
        const unsigned weight = is_ready(*each) ? each->weight : 0;
        if (drawn < weight) {
            return each.get();
        }
        drawn -= weight;
    }
    return nullptr;
}

thread& scheduler::choose()
{
    for (;;) {
        if (thread* const ready = choose_among_ready()) {
            return *ready;
        }
        if (!advance()) {
            report_deadlock(waiting_threads());
        }
    }
}

/// Lets the chosen thread go on; returns when it is the turn of the one that calls.
void scheduler::go_on()
{
    thread& from = *current_;
    if (std::all_of(threads_.begin(), threads_.end(),
                    [](const auto& each) { return each->ended; })) {
        fiber::switch_to(from.flow, outside_);
    }
    thread& next = choose();
    if (&next != &from) {
        current_ = &next;
        fiber::switch_to(from.flow, next.flow);
    }
}

std::string scheduler::waiting_threads() const
{
    std::string waiting;
    for (const auto& each : threads_) {
        if (!each->ended) {
            waiting += " " + each->name + (each->locks.empty() ? "" : " (holds a lock)");
        }
    }
    return waiting;
}

} // namespace simulation
