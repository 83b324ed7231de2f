/// \file
/// \brief Two players cross-fade: each has a thread, a decoder and an output of its own.
///
/// usage: crossfade FIRST SECOND SECONDS
///   SECONDS is when the second track begins. Both must sound at once, so the output has to be one that
///   mixes, such as PulseAudio.

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace
{

enum class word { loaded, playing, faded, stopped, failed };
using word_box = mailbox<word>;

/// A player that has opened, and loaded, before it is needed: its play then sounds at once.
qz_audio_ptr make_player(const std::string& track, int volume,
                         const std::shared_ptr<word_box>& told)
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [told](qz_audio_ptr, int) { told->put(word::failed); });
    qz_audio_on_status_change(player, [told](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_loaded) {
            told->put(word::loaded);
        } else if (status == qz_audio_status_playing) {
            told->put(word::playing);
        } else if (status == qz_audio_status_stopped) {
            told->put(word::stopped);
        }
    });
    qz_audio_on_volume_change(player, [told, other_end = 100 - volume](qz_audio_ptr, int reached) {
        if (reached == other_end) {
            told->put(word::faded);
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

bool wait_for(word_box& told, word wanted)
{
    word next = told.take();
    while (next != wanted && next != word::failed) {
        next = told.take();
    }
    return next == wanted;
}

/// The fades of two players run side by side, in equal steps: together they stay about as loud.
bool crossfade(const qz_audio_ptr& first, word_box& told_first, const qz_audio_ptr& second,
               word_box& told_second, std::chrono::seconds start)
{
    if (!wait_for(told_first, word::loaded) || !wait_for(told_second, word::loaded)) {
        return false;
    }
    qz_audio_play(first);
    std::this_thread::sleep_for(start);
    qz_audio_play(second);
    if (!wait_for(told_second, word::playing)) {
        return false;
    }
    std::cout << "cross-fading" << std::endl;
    qz_audio_volume_decrement_timeout_start(first, 0);
    qz_audio_volume_increment_timeout_start(second, 100);
    if (!wait_for(told_first, word::faded) || !wait_for(told_second, word::faded)) {
        return false;
    }
    std::cout << "the second track alone" << std::endl;
    return wait_for(told_second, word::stopped);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 4) {
        std::cerr << "usage: crossfade FIRST SECOND SECONDS\n";
        return 1;
    }
    const auto told_first = std::make_shared<word_box>();
    const auto told_second = std::make_shared<word_box>();
    const qz_audio_ptr first = make_player(argv[1], 100, told_first);
    const qz_audio_ptr second = make_player(argv[2], 0, told_second);

    const bool good = crossfade(first, *told_first, second, *told_second,
                                std::chrono::seconds(std::stoi(argv[3])));

    qz_audio_destroy(first, __FILE__, __LINE__);
    qz_audio_destroy(second, __FILE__, __LINE__);
    return good ? 0 : 1;
}
