// A player that repeats a track and fades all the time, until its standard input ends. Fails if
// the volume has never changed.
//
// usage: long_fading_player TRACK

#include "qz_audio/qz_audio.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>

namespace
{

std::atomic<long> volume_changes{0};

void fade_on(const qz_audio_ptr& player, int volume)
{
    ++volume_changes;
    if (volume == 100) {
        qz_audio_volume_decrement_timeout_start(player, 0);
    } else if (volume == 0) {
        qz_audio_volume_increment_timeout_start(player, 100);
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: long_fading_player TRACK\n", stderr);
        return 1;
    }
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_volume_change(player, fade_on);
    qz_audio_on_error(player, [](qz_audio_ptr, int code) {
        std::fprintf(stderr, "cannot play: %d\n", code);
        std::_Exit(2);
    });
    qz_audio_set_audio_volume_increment_timeout(player, 1);
    qz_audio_set_audio_volume_decrement_timeout(player, 1);
    qz_audio_set_repeat(player, true);
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);
    qz_audio_volume_decrement_timeout_start(player, 0);
    while (std::getchar() != EOF) {
    }
    qz_audio_destroy(player, __FILE__, __LINE__);
    if (volume_changes == 0) {
        std::fputs("the volume has never changed\n", stderr);
        return 2;
    }
    return 0;
}
