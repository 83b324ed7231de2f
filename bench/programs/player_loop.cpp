// The same through the library: plays a track to its end.
//
// usage: player_loop TRACK

#include "qz_audio/qz_audio.h"

#include <cstdio>
#include <cstdlib>
#include <future>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: player_loop TRACK\n", stderr);
        return 1;
    }
    std::promise<void> ended;
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_status_change(player, [&ended](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            ended.set_value();
        }
    });
    qz_audio_on_error(player, [](qz_audio_ptr, int code) {
        std::fprintf(stderr, "cannot play: %d\n", code);
        std::_Exit(2);
    });
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);
    ended.get_future().wait();
    qz_audio_on_status_change(player, nullptr);
    qz_audio_destroy(player, __FILE__, __LINE__);
    return 0;
}
