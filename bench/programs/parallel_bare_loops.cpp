// The reference of parallel_players: as many threads with a bare loop each.
//
// usage: parallel_bare_loops COUNT TRACK

#include "bare_track.h"
#include "parallel_run.h"

#include <mutex>
#include <optional>
#include <thread>
#include <vector>

int main(int argc, char** argv)
{
    const parallel_options wanted = read_parallel_options(argc, argv);
    parallel_progress progress(wanted.count);
    countdown start(1);
    countdown end(1);
    std::mutex one_open_at_a_time; // out123_open is not made for more

    const auto play = [&] {
        std::optional<bare_track> track;
        {
            const std::lock_guard<std::mutex> lock(one_open_at_a_time);
            track.emplace(wanted.track);
        }
        if (track->failed()) {
            std::_Exit(2);
        }
        progress.loaded.arrive();
        start.wait();
        bool more = track->play_block();
        progress.playing.arrive();
        while (more) {
            more = track->play_block();
        }
        progress.ended.arrive();
        end.wait();
    };

    std::vector<std::thread> threads;
    for (int i = 0; i < wanted.count; ++i) {
        threads.emplace_back(play);
    }
    progress.print([&start] { start.arrive(); });
    end.arrive();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}
