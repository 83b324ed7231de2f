// Without the library: logs "open" before a track is opened and played, and "play" before each of ROUNDS
// starts of the open one.
//
// usage: bare_start_latency TRACK ROUNDS

#include "bare_track.h"
#include "event_log.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: bare_start_latency TRACK ROUNDS\n", stderr);
        return 1;
    }
    log_event("open");
    bare_track track(argv[1]);
    bool played = track.play_block();
    for (int round = std::atoi(argv[2]); played && round > 0; --round) {
        track.stop();
        log_event("play");
        played = track.play_again();
    }
    return played ? 0 : 2;
}
