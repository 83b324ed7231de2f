// The reference of player_crowd: as many threads with a bare loop each.
//
// usage: bare_crowd COUNT TRACK

#include "bare_track.h"
#include "crowd.h"

#include <mutex>
#include <optional>
#include <thread>
#include <vector>

int main(int argc, char** argv)
{
    const crowd_options wanted = read_crowd_options(argc, argv);
    crowd_progress progress(wanted.count);
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
    progress.tell([&start] { start.arrive(); });
    end.arrive();
    for (std::thread& thread : threads) {
        thread.join();
    }
    return 0;
}
