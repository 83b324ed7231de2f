/// \file
/// \brief The program's event loop.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>

#include <systemd/sd-event.h>

/// A queue of tasks that any thread posts to the loop. Threads may own it longer than the loop exists.
class task_queue
{
public:
    /// Throws `std::system_error`.
    task_queue();
    ~task_queue();
    task_queue(const task_queue&) = delete;
    task_queue& operator=(const task_queue&) = delete;

    /// Makes the loop run `task`. Discards it after `close`. May be called on any thread.
    void post(std::function<void()> task);

    /// Discards the waiting tasks. Call this and the next two functions on the loop's thread only.
    void close();
    void run_all();
    [[nodiscard]] int descriptor() const { return eventfd_; }

private:
    const int eventfd_;
    std::mutex mutex_;
    bool closed_ = false;
    std::deque<std::function<void()>> tasks_;
};

/// Use it only on the thread that calls `run`. Only `tasks()->post` may be called on other threads.
class event_loop
{
public:
    using clock = std::chrono::steady_clock;

    /// Throws `std::system_error`.
    event_loop();
    ~event_loop();
    event_loop(const event_loop&) = delete;
    event_loop& operator=(const event_loop&) = delete;

    /// Returns after `stop`. Rethrows an exception that a callback throws.
    void run();
    void stop() { sd_event_exit(handle_, 0); }

    [[nodiscard]] const std::shared_ptr<task_queue>& tasks() const { return tasks_; }
    [[nodiscard]] sd_event* handle() const { return handle_; }

    /// Calls `callback`. If it throws, `run` ends and rethrows the exception.
    void call(const std::function<void()>& callback) noexcept;

private:
    sd_event* handle_ = nullptr;
    sd_event_source* task_source_ = nullptr;
    std::shared_ptr<task_queue> tasks_;
    std::exception_ptr failure_;
};

/// The base class of timers and watches, which call a callback. Must not outlive the loop. The constructors throw
/// `std::system_error`.
class event_source
{
public:
    event_source(const event_source&) = delete;
    event_source& operator=(const event_source&) = delete;

protected:
    event_source(event_loop& loop, std::function<void()> callback);
    ~event_source() { sd_event_source_disable_unref(source_); }

    /// Called by sd-event. The arguments depend on the kind of source; the last one is its user data.
    template <class... Arguments>
    static int dispatch(sd_event_source* source, Arguments... arguments);

    /// `mode` is SD_EVENT_OFF, SD_EVENT_ON or SD_EVENT_ONESHOT.
    void set_enabled(int mode);

    sd_event_source* source_ = nullptr;

private:
    event_loop& loop_;
    const std::function<void()> callback_;
};

/// Calls back once for each `set`.
class timer : public event_source
{
public:
    timer(event_loop& loop, std::function<void()> expired);

    /// Replaces an earlier deadline. `time_point::max()` means none.
    void set(event_loop::clock::time_point deadline);
    void cancel() { set_enabled(SD_EVENT_OFF); }
};

/// Calls back while a descriptor is ready. A regular file, which epoll refuses, is always ready.
class descriptor_watch : public event_source
{
public:
    /// `events` are those of epoll: EPOLLIN, EPOLLOUT.
    descriptor_watch(event_loop& loop, int descriptor, std::uint32_t events,
                     std::function<void()> ready);

    void enable(bool on) { set_enabled(on ? SD_EVENT_ON : SD_EVENT_OFF); }
};

/// Calls back when the process receives `signal`, which must be blocked in every thread.
class signal_watch : public event_source
{
public:
    signal_watch(event_loop& loop, int signal, std::function<void()> received);
};
