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

/// A volume that has been reached, or nothing after a failure.
using word = std::optional<int>;

/// Small steps in quick succession sound smooth. Here a fade takes 50 steps of 30 ms: 1.5 s.
void set_smooth_fades(const qz_audio_ptr& player)
{
    qz_audio_set_audio_volume_increment_step(player, 2);
    qz_audio_set_audio_volume_increment_timeout(player, 30);
    qz_audio_set_audio_volume_decrement_step(player, 2);
    qz_audio_set_audio_volume_decrement_timeout(player, 30);
}

/// Returns true when the volume has been reached, false when the player failed, and nothing when it has
/// nothing to tell any more.
std::optional<bool> reaches(mailbox<word>& told, int volume)
{
    for (;;) {
        const std::optional<word> next = told.take_within(1s);
        if (!next) {
            return std::nullopt;
        }
        if (!*next || **next == volume) {
            return next->has_value();
        }
    }
}

/// A fade is asked for and returns at once; each step is told. What falls into the moment in which a
/// repeating track starts over may be lost, and a fade ends there: then it is asked for again.
bool fade_to(const qz_audio_ptr& player, mailbox<word>& told, int volume)
{
    std::optional<bool> reached;
    while (!reached) {
        if (volume > 0) {
            qz_audio_volume_increment_timeout_start(player, volume);
        } else {
            qz_audio_volume_decrement_timeout_start(player, volume);
        }
        reached = reaches(told, volume);
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
    const auto told = make_mailbox<word>();
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [told](qz_audio_ptr, int) { told->put(std::nullopt); });
    qz_audio_on_volume_change(player, [told](qz_audio_ptr, int volume) { told->put(volume); });
    set_smooth_fades(player);
    qz_audio_set_repeat(player, true);
    qz_audio_set_volume(player, 0);
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);

    bool good = fade_to(player, *told, 100);
    if (good) {
        std::cout << "full volume" << std::endl;
        std::this_thread::sleep_for(std::chrono::seconds(std::stoi(argv[2])));
        good = fade_to(player, *told, 0);
    }

    // The destroy stops the track, which is silent by now: no click.
    qz_audio_destroy(player, __FILE__, __LINE__);
    std::cout << (good ? "faded out" : "failed") << std::endl;
    return good ? 0 : 1;
}
