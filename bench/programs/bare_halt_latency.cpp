// Without the library: a thread plays a track and looks at a flag between two blocks. Logs "call" before the
// flag is set, and "callback" when the thread has paused or stopped the track; once for each DELAY, in
// milliseconds after the first block.
//
// usage: bare_halt_latency pause|stop TRACK DELAY...

#include "bare_track.h"
#include "event_log.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace
{

void play_until(const std::atomic<bool>& halt, bare_track& track, bool pauses)
{
    while (!halt && track.play_block()) {
    }
    if (pauses) {
        track.pause();
    } else {
        track.stop();
    }
    log_event("callback");
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fputs("usage: bare_halt_latency pause|stop TRACK DELAY...\n", stderr);
        return 1;
    }
    const bool pauses = std::strcmp(argv[1], "pause") == 0;
    bare_track track(argv[2]);
    for (char** delay = argv + 3; *delay != nullptr; ++delay) {
        pauses ? track.play_block() : track.play_again();
        std::atomic<bool> halt{false};
        std::thread loop([&] { play_until(halt, track, pauses); });
        std::this_thread::sleep_for(std::chrono::duration<double, std::milli>(std::atof(*delay)));
        log_event("call");
        halt = true;
        loop.join();
    }
    return track.failed() ? 2 : 0;
}
