/// \file
/// \brief What the session is told: all that happens elsewhere reaches it through one queue.
#pragma once

#include "session/requests.h"
#include "session/track.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>

struct status_changed {
    qz_audio_status status;
};
struct error_reported {
    int code;
};
struct volume_changed {
    int volume;
};
struct stop_completed {
};
/// Nothing is the size of what cannot be measured.
struct track_measured {
    std::string path;
    std::optional<track::extent> size;
};
/// By a signal, like the next three.
struct end_requested {
};

/// The process is to stop, as by Ctrl-Z.
struct suspend_requested {
};
/// The process goes on after a stop, from inside or from outside.
struct continued {
};
/// The window has another size.
struct screen_changed {
};

using event =
    std::variant<status_changed, error_reported, volume_changed, stop_completed, track_measured,
                 end_requested, suspend_requested, continued, screen_changed, user_request>;

/// Any thread pushes; one thread pops.
class event_queue
{
public:
    using clock = std::chrono::steady_clock;

    void push(event happened);

    /// Waits until `deadline` for the next event.
    std::optional<event> pop_until(clock::time_point deadline);

private:
    std::mutex mutex_;
    std::condition_variable pushed_;
    std::deque<event> events_;
};

/// The way of one source's events into the queue, which can be closed while the source lives on.
class event_relay
{
public:
    explicit event_relay(std::shared_ptr<event_queue> queue) : queue_(std::move(queue)) {}

    void push(event happened);
    void close();

private:
    std::mutex mutex_;
    std::shared_ptr<event_queue> queue_;
};
