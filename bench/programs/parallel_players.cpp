// Many players that play one track at the same time, to its end.
//
// usage: parallel_players COUNT TRACK

#include "parallel_run.h"

#include "qz_audio/qz_audio.h"

#include <cstddef>
#include <vector>

namespace
{

qz_audio_ptr load_player(const char* track, parallel_progress& progress)
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_status_change(player, [&progress](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_loaded) {
            progress.loaded.arrive();
        } else if (status == qz_audio_status_playing) {
            progress.playing.arrive();
        } else if (status == qz_audio_status_stopped) {
            progress.ended.arrive();
        }
    });
    qz_audio_on_error(player, [](qz_audio_ptr, int code) {
        std::fprintf(stderr, "cannot play: %d\n", code);
        std::_Exit(2);
    });
    qz_audio_set_audio_track(player, track);
    return player;
}

} // namespace

int main(int argc, char** argv)
{
    const parallel_options wanted = read_parallel_options(argc, argv);
    parallel_progress progress(wanted.count);
    std::vector<qz_audio_ptr> players(static_cast<std::size_t>(wanted.count));
    for (qz_audio_ptr& player : players) {
        player = load_player(wanted.track, progress);
    }
    progress.print([&players] {
        for (const qz_audio_ptr& player : players) {
            qz_audio_play(player);
        }
    });
    for (const qz_audio_ptr& player : players) {
        qz_audio_on_status_change(player, nullptr);
        qz_audio_destroy(player, __FILE__, __LINE__);
    }
    return 0;
}
