// The same through the library: logs "open" before a player is made, loaded and played, and "play" before
// each of ROUNDS plays of the loaded one.
//
// usage: player_start_latency TRACK ROUNDS

#include "event_log.h"
#include "recording_player.h"

#include <cstdio>
#include <cstdlib>

namespace
{

void load(recording_player& player, const char* track)
{
    qz_audio_stop(player.get(), nullptr);
    player.wait_for(qz_audio_status_stopped);
    qz_audio_set_audio_track(player.get(), track);
    player.wait_for(qz_audio_status_loaded);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: player_start_latency TRACK ROUNDS\n", stderr);
        return 1;
    }
    log_event("open");
    recording_player player;
    qz_audio_set_audio_track(player.get(), argv[1]);
    qz_audio_play(player.get());
    player.wait_for(qz_audio_status_playing);
    for (int round = std::atoi(argv[2]); round > 0; --round) {
        load(player, argv[1]);
        log_event("play");
        qz_audio_play(player.get());
        player.wait_for(qz_audio_status_playing);
    }
    return 0;
}
