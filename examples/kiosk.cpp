/// \file
/// \brief Plays tracks in a loop for years, also with missing or damaged files and with a sound server that
/// ends, restarts or hangs.
///
/// usage: kiosk TRACK...
///
/// Each track gets a new player, so that a failure has no effect on the next track. If an output never
/// returns, the program restarts itself.
///
/// A signal ends it. It needs no handler, since a process may end while players play.
/// MPG123_MODDIR should name a folder with accepted output modules only, as in recover.cpp.

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <thread>

#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr auto report_timeout = 3s;
constexpr auto pause_between_tracks = 1s;

enum class event { ended, failed, alive };

qz_audio_ptr make_player(const std::shared_ptr<mailbox<event>>& events)
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [events](qz_audio_ptr, int) { events->put(event::failed); });
    qz_audio_on_volume_change(player, [events](qz_audio_ptr, int) { events->put(event::alive); });
    qz_audio_on_status_change(player, [events](qz_audio_ptr, qz_audio_status status) {
        events->put(status == qz_audio_status_stopped ? event::ended : event::alive);
    });
    return player;
}

/// Returns how the track ended, or nothing if the player does not respond.
std::optional<event> wait_for_end(const qz_audio_ptr& player, mailbox<event>& events)
{
    bool checked = false;
    for (;;) {
        const std::optional<event> next = events.take_within(report_timeout);
        if (next && *next != event::alive) {
            return next;
        }
        if (!next && checked) {
            return std::nullopt;
        }
        // Setting the present volume changes nothing, but a player that works reports it.
        checked = !next;
        if (checked) {
            qz_audio_set_volume(player, 100);
        }
    }
}

/// Returns false if the player hangs.
bool play_one(const std::string& track)
{
    std::cout << "playing " << track << std::endl;
    const auto events = make_mailbox<event>();
    const qz_audio_ptr player = make_player(events);
    qz_audio_set_audio_track(player, track);
    qz_audio_play(player);
    const std::optional<event> end = wait_for_end(player, *events);
    qz_audio_destroy(player, __FILE__, __LINE__);
    if (end == event::failed) {
        std::cout << "failed " << track << std::endl;
    }
    return end.has_value();
}

/// Returns when a player hangs.
void play_in_a_loop(int count, char* tracks[])
{
    for (int next = 0; play_one(tracks[next]); next = (next + 1) % count) {
        // Tracks that fail, or end at once on a failed output, must not use a whole core.
        std::this_thread::sleep_for(pause_between_tracks);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::cerr << "usage: kiosk TRACK...\n";
        return 1;
    }
    try {
        play_in_a_loop(argc - 1, argv + 1);
    } catch (const std::exception& exception) {
        std::cout << exception.what() << std::endl;
    }
    std::cout << "restarting" << std::endl;
    execv("/proc/self/exe", argv);
    return 1; // A service manager that restarts it is the last resort.
}
