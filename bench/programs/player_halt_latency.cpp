// The same through the library: logs "call" before a pause or a stop is asked for, and "callback" when
// that is called; once for each DELAY, in milliseconds after the callback for "playing".
//
// usage: player_halt_latency pause|stop TRACK DELAY...

#include "event_log.h"
#include "recording_player.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fputs("usage: player_halt_latency pause|stop TRACK DELAY...\n", stderr);
        return 1;
    }
    const bool pauses = std::strcmp(argv[1], "pause") == 0;
    const qz_audio_status halted = pauses ? qz_audio_status_paused : qz_audio_status_stopped;
    recording_player player([halted](qz_audio_status status) {
        if (status == halted) {
            log_event("callback");
        }
    });
    qz_audio_set_audio_track(player.get(), argv[2]);
    for (char** delay = argv + 3; *delay != nullptr; ++delay) {
        qz_audio_play(player.get());
        player.wait_for(qz_audio_status_playing);
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(std::atof(*delay)));
        log_event("call");
        if (pauses) {
            qz_audio_pause(player.get());
        } else {
            qz_audio_stop(player.get(), nullptr);
        }
        player.wait_for(halted);
    }
    return 0;
}
