/// \file
/// \brief Wraps the library's player and calls its callbacks on the event loop.
#pragma once

#include "event_loop.h"

#include "qz_audio/qz_audio.h"

#include <functional>
#include <memory>
#include <string>
#include <utility>

class player
{
public:
    struct listener {
        std::function<void(qz_audio_status)> status_changed;
        std::function<void(int code)> failed;
        std::function<void(int volume)> volume_changed;
        std::function<void()> stop_completed;
    };

private:
    /// Shared with the library's callbacks, which may be called after the destruction. Used on the loop's thread only.
    struct channel {
        listener events;
        bool is_connected = true;
    };

    /// Returns a callback that calls the listener's `event` on the loop.
    template <class Event>
    [[nodiscard]] auto relay(Event listener::*event) const
    {
        return [tasks = tasks_, channel = channel_, event](const qz_audio_ptr&, auto... values) {
            tasks->post([channel, event, values...] {
                if (channel->is_connected) {
                    (channel->events.*event)(values...);
                }
            });
        };
    }

public:
    /// What the listener refers to must live as long as the loop runs.
    player(const event_loop& loop, listener events)
        : tasks_(loop.tasks()), channel_(std::make_shared<channel>(channel{std::move(events)})),
          audio_(qz_audio_new())
    {
        qz_audio_on_status_change(audio_, relay(&listener::status_changed));
        qz_audio_on_error(audio_, relay(&listener::failed));
        qz_audio_on_volume_change(audio_, relay(&listener::volume_changed));
    }

    /// Destroys the library's player without waiting. The status `none` is still reported.
    ~player() { qz_audio_destroy(audio_, __FILE__, __LINE__); }

    player(const player&) = delete;
    player& operator=(const player&) = delete;

    /// Stops all reports. Call this before the destruction of a player that may never answer.
    void disconnect() { channel_->is_connected = false; }

    void open() { qz_audio_open(audio_); }
    void load(const std::string& path) { qz_audio_set_audio_track(audio_, path); }
    void play() { qz_audio_play(audio_); }
    void pause() { qz_audio_pause(audio_); }

    /// `stop_completed` is called after all events that the player reports before the stop completes.
    void stop() { qz_audio_stop(audio_, relay(&listener::stop_completed)); }

    /// Sets the volume in percent.
    void set_volume(int volume) { qz_audio_set_volume(audio_, volume); }
    void set_repeat(bool on) { qz_audio_set_repeat(audio_, on); }

private:
    const std::shared_ptr<task_queue> tasks_;
    const std::shared_ptr<channel> channel_;
    const qz_audio_ptr audio_;
};
