/// \file
/// \brief Two players cross-fade: each has a thread, a decoder and an output of its own.
///
/// usage: crossfade FIRST SECOND SECONDS
///   The second track begins after SECONDS. Both play at the same time, so the output must mix them, as
///   PulseAudio does.

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace
{

enum class event { loaded, playing, faded, stopped, failed };
using event_box = mailbox<event>;

/// Opens and loads before the play, which then starts at once.
qz_audio_ptr make_player(const std::string& track, int volume,
                         const std::shared_ptr<event_box>& events)
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [events](qz_audio_ptr, int) { events->put(event::failed); });
    qz_audio_on_status_change(player, [events](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_loaded) {
            events->put(event::loaded);
        } else if (status == qz_audio_status_playing) {
            events->put(event::playing);
        } else if (status == qz_audio_status_stopped) {
            events->put(event::stopped);
        }
    });
    qz_audio_on_volume_change(player,
                              [events, other_end = 100 - volume](qz_audio_ptr, int reached) {
                                  if (reached == other_end) {
                                      events->put(event::faded);
                                  }
                              });
    qz_audio_set_audio_volume_increment_step(player, 4);
    qz_audio_set_audio_volume_increment_timeout(player, 40);
    qz_audio_set_audio_volume_decrement_step(player, 4);
    qz_audio_set_audio_volume_decrement_timeout(player, 40);
    qz_audio_set_volume(player, volume);
    qz_audio_set_audio_track(player, track);
    return player;
}

bool wait_for(event_box& events, event wanted)
{
    event next = events.take();
    while (next != wanted && next != event::failed) {
        next = events.take();
    }
    return next == wanted;
}

/// Both fades run at the same time in equal steps, so that the sum of the volumes stays the same.
bool crossfade(const qz_audio_ptr& first, event_box& first_events, const qz_audio_ptr& second,
               event_box& second_events, std::chrono::seconds start)
{
    if (!wait_for(first_events, event::loaded) || !wait_for(second_events, event::loaded)) {
        return false;
    }
    qz_audio_play(first);
    std::this_thread::sleep_for(start);
    qz_audio_play(second);
    if (!wait_for(second_events, event::playing)) {
        return false;
    }
    std::cout << "cross-fading" << std::endl;
    qz_audio_volume_decrement_timeout_start(first, 0);
    qz_audio_volume_increment_timeout_start(second, 100);
    if (!wait_for(first_events, event::faded) || !wait_for(second_events, event::faded)) {
        return false;
    }
    std::cout << "the second track alone" << std::endl;
    return wait_for(second_events, event::stopped);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 4) {
        std::cerr << "usage: crossfade FIRST SECOND SECONDS\n";
        return 1;
    }
    const auto first_events = std::make_shared<event_box>();
    const auto second_events = std::make_shared<event_box>();
    const qz_audio_ptr first = make_player(argv[1], 100, first_events);
    const qz_audio_ptr second = make_player(argv[2], 0, second_events);

    const bool good = crossfade(first, *first_events, second, *second_events,
                                std::chrono::seconds(std::stoi(argv[3])));

    qz_audio_destroy(first, __FILE__, __LINE__);
    qz_audio_destroy(second, __FILE__, __LINE__);
    return good ? 0 : 1;
}
