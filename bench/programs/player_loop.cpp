// The same through the library: plays a track to its end and cleans up.
//
// usage: player_loop TRACK

#include "recording_player.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: player_loop TRACK\n", stderr);
        return 1;
    }
    recording_player player;
    qz_audio_set_audio_track(player.get(), argv[1]);
    qz_audio_play(player.get());
    player.wait_for(qz_audio_status_stopped);
    return 0;
}
