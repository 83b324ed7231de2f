#include "event_loop.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{

/// sd-event may delay a timer by this much, so that the process wakes up less often.
constexpr std::uint64_t accuracy_us = 1000;

int checked(int result)
{
    if (result < 0) {
        throw std::system_error(-result, std::generic_category(), "the event loop failed");
    }
    return result;
}

int new_eventfd()
{
    const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    return checked(descriptor < 0 ? -errno : descriptor);
}

std::uint64_t microseconds(event_loop::clock::time_point time)
{
    using std::chrono::microseconds;
    return static_cast<std::uint64_t>(
        std::chrono::ceil<microseconds>(time.time_since_epoch()).count());
}

} // namespace

task_queue::task_queue() : eventfd_(new_eventfd()) {}

task_queue::~task_queue()
{
    ::close(eventfd_);
}

void task_queue::post(std::function<void()> task)
{
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (closed_) {
            return;
        }
        tasks_.push_back(std::move(task));
    }
    eventfd_write(eventfd_, 1);
}

void task_queue::close()
{
    std::deque<std::function<void()>> dropped;
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
    dropped.swap(tasks_);
}

void task_queue::run_all()
{
    eventfd_t ignored = 0;
    eventfd_read(eventfd_, &ignored);
    std::deque<std::function<void()>> due;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        due.swap(tasks_);
    }
    for (const auto& task : due) {
        task();
    }
}

event_loop::event_loop() : tasks_(std::make_shared<task_queue>())
{
    checked(sd_event_new(&handle_));
    const auto run_tasks = [](sd_event_source*, int, std::uint32_t, void* loop) {
        auto& self = *static_cast<event_loop*>(loop);
        self.call([&self] { self.tasks_->run_all(); });
        return 0;
    };
    checked(
        sd_event_add_io(handle_, &task_source_, tasks_->descriptor(), EPOLLIN, run_tasks, this));
}

event_loop::~event_loop()
{
    tasks_->close();
    sd_event_source_disable_unref(task_source_);
    sd_event_unref(handle_);
}

void event_loop::run()
{
    checked(sd_event_loop(handle_));
    if (failure_) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
}

void event_loop::call(const std::function<void()>& callback) noexcept
{
    try {
        callback();
    } catch (...) {
        failure_ = std::current_exception();
        stop();
    }
}

event_source::event_source(event_loop& loop, std::function<void()> callback)
    : loop_(loop), callback_(std::move(callback))
{
}

template <class... Arguments>
int event_source::dispatch(sd_event_source* source, Arguments... /*arguments*/)
{
    const auto& self = *static_cast<event_source*>(sd_event_source_get_userdata(source));
    self.loop_.call(self.callback_);
    return 0;
}

void event_source::set_enabled(int mode)
{
    checked(sd_event_source_set_enabled(source_, mode));
}

timer::timer(event_loop& loop, std::function<void()> expired)
    : event_source(loop, std::move(expired))
{
    event_source* self = this;
    checked(sd_event_add_time(loop.handle(), &source_, CLOCK_MONOTONIC, 0, accuracy_us, dispatch,
                              self));
    cancel();
}

void timer::set(event_loop::clock::time_point deadline)
{
    if (deadline == event_loop::clock::time_point::max()) {
        cancel();
        return;
    }
    checked(sd_event_source_set_time(source_, microseconds(deadline)));
    set_enabled(SD_EVENT_ONESHOT);
}

descriptor_watch::descriptor_watch(event_loop& loop, int descriptor, std::uint32_t events,
                                   std::function<void()> ready)
    : event_source(loop, std::move(ready))
{
    event_source* self = this;
    const int added = sd_event_add_io(loop.handle(), &source_, descriptor, events, dispatch, self);
    checked(added == -EPERM ? sd_event_add_defer(loop.handle(), &source_, dispatch, self) : added);
    enable(true);
}

signal_watch::signal_watch(event_loop& loop, int signal, std::function<void()> received)
    : event_source(loop, std::move(received))
{
    event_source* self = this;
    checked(sd_event_add_signal(loop.handle(), &source_, signal, dispatch, self));
    // When the process continues after a stop, SIGCONT is handled before the timers that have expired.
    checked(sd_event_source_set_priority(source_, SD_EVENT_PRIORITY_IMPORTANT));
}
