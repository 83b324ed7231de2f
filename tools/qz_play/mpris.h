/// \file
/// \brief MPRIS 2: lets other programs show and control the playback.
#pragma once

#include "commands.h"
#include "event_loop.h"
#include "snapshot.h"

#include <functional>
#include <memory>

#include <systemd/sd-bus.h>

/// Its name on the session bus is org.mpris.MediaPlayer2.qz_play, with .instance<PID> appended if another process owns
/// that name. A bus that is missing, hangs or disconnects is not an error. Must not outlive the loop.
class mpris
{
public:
    /// `perform` is called on the loop with each command of another program.
    mpris(event_loop& loop, std::function<void(const user_command&)> perform);

    // The destruction does not wait for the bus. The reply of a `command::open` may be called after it.
    mpris(const mpris&) = delete;
    mpris& operator=(const mpris&) = delete;

    /// Connects to the bus at the first snapshot whose state is `playing`. Then reports the changes between snapshots. A
    /// new track is reported when its tags are known, at the latest after 100 ms. Never blocks.
    void publish(const snapshot& now);

private:
    struct callbacks;
    struct bus_deleter {
        void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    };

    void publish_latest();
    void connect();
    void report_changes(const snapshot& before);

    event_loop& loop_;
    const std::function<void(const user_command&)> perform_;
    timer tags_timeout_;
    snapshot latest_;
    bool waits_for_tags_ = false; ///< `latest_` is not published yet.
    snapshot published_;
    bool tried_to_connect_ = false;
    std::unique_ptr<sd_bus, bus_deleter> bus_;
};
