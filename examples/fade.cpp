/// \file
/// \brief Background music: fades a repeating track in, lets it play, and fades it out.
///
/// usage: fade TRACK SECONDS

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <iostream>
#include <optional>
#include <string>
#include <thread>

using namespace std::chrono_literals;

namespace
{

/// A volume that was reported, or nothing after a failure.
using event = std::optional<int>;

/// Small and frequent steps sound smooth. Here a fade takes 50 steps of 30 ms: 1.5 s.
void set_smooth_fades(const qz_audio_ptr& player)
{
    qz_audio_set_audio_volume_increment_step(player, 2);
    qz_audio_set_audio_volume_increment_timeout(player, 30);
    qz_audio_set_audio_volume_decrement_step(player, 2);
    qz_audio_set_audio_volume_decrement_timeout(player, 30);
}

/// Returns true if the volume was reached, false if the player failed, and nothing if no report comes.
std::optional<bool> reaches(mailbox<event>& events, int volume)
{
    for (;;) {
        const std::optional<event> next = events.take_within(1s);
        if (!next) {
            return std::nullopt;
        }
        if (!*next || **next == volume) {
            return next->has_value();
        }
    }
}

/// A fade can end at the moment when a repeating track starts again. No report comes then, and the fade is
/// posted again.
bool fade_to(const qz_audio_ptr& player, mailbox<event>& events, int volume)
{
    std::optional<bool> reached;
    while (!reached) {
        if (volume > 0) {
            qz_audio_volume_increment_timeout_start(player, volume);
        } else {
            qz_audio_volume_decrement_timeout_start(player, volume);
        }
        reached = reaches(events, volume);
    }
    return *reached;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 3) {
        std::cerr << "usage: fade TRACK SECONDS\n";
        return 1;
    }
    const auto events = make_mailbox<event>();
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [events](qz_audio_ptr, int) { events->put(std::nullopt); });
    qz_audio_on_volume_change(player, [events](qz_audio_ptr, int volume) { events->put(volume); });
    set_smooth_fades(player);
    qz_audio_set_repeat(player, true);
    qz_audio_set_volume(player, 0);
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);

    bool good = fade_to(player, *events, 100);
    if (good) {
        std::cout << "full volume" << std::endl;
        std::this_thread::sleep_for(std::chrono::seconds(std::stoi(argv[2])));
        good = fade_to(player, *events, 0);
    }

    // The track is silent by now, so that the destroy causes no click.
    qz_audio_destroy(player, __FILE__, __LINE__);
    std::cout << (good ? "faded out" : "failed") << std::endl;
    return good ? 0 : 1;
}
