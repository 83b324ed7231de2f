/// \file
/// \brief Plays tracks round and round for years: missing files, damaged ones, a sound server that goes,
/// comes back or hangs.
///
/// usage: kiosk TRACK...
///
/// Two ideas. A fresh player for each track: nothing of a failure is left for the next. And what cannot be
/// mended from within, an output that never returns, is left behind by starting the program anew.
///
/// It ends by a signal, at any moment, without a handler: nothing of a player has to be cleaned up.
/// MPG123_MODDIR should name accepted output modules only, as in recover.cpp.

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <thread>

#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

constexpr auto patience = 3s;
constexpr auto rest = 1s;

enum class word { ended, failed, alive };

qz_audio_ptr make_player(const std::shared_ptr<mailbox<word>>& told)
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [told](qz_audio_ptr, int) { told->put(word::failed); });
    qz_audio_on_volume_change(player, [told](qz_audio_ptr, int) { told->put(word::alive); });
    qz_audio_on_status_change(player, [told](qz_audio_ptr, qz_audio_status status) {
        told->put(status == qz_audio_status_stopped ? word::ended : word::alive);
    });
    return player;
}

/// Returns how the track ended; nothing when the player does not answer any more.
std::optional<word> wait_for_end(const qz_audio_ptr& player, mailbox<word>& told)
{
    bool asked = false;
    for (;;) {
        const std::optional<word> next = told.take_within(patience);
        if (next && *next != word::alive) {
            return next;
        }
        if (!next && asked) {
            return std::nullopt;
        }
        // A volume set to the value that it has changes nothing, but a player that works tells it.
        asked = !next;
        if (asked) {
            qz_audio_set_volume(player, 100);
        }
    }
}

/// Returns false when the player hangs.
bool play_one(const std::string& track)
{
    std::cout << "playing " << track << std::endl;
    const auto told = make_mailbox<word>();
    const qz_audio_ptr player = make_player(told);
    qz_audio_set_audio_track(player, track);
    qz_audio_play(player);
    const std::optional<word> end = wait_for_end(player, *told);
    qz_audio_destroy(player, __FILE__, __LINE__);
    if (end == word::failed) {
        std::cout << "failed " << track << std::endl;
    }
    return end.has_value();
}

/// Returns when a player hangs.
void play_round_and_round(int count, char* tracks[])
{
    for (int next = 0; play_one(tracks[next]); next = (next + 1) % count) {
        // Tracks that fail, or race through a dead output, must not keep a core busy.
        std::this_thread::sleep_for(rest);
    }
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::cerr << "usage: kiosk TRACK...\n";
        return 1;
    }
    try {
        play_round_and_round(argc - 1, argv + 1);
    } catch (const std::exception& exception) {
        std::cout << exception.what() << std::endl;
    }
    std::cout << "starting anew" << std::endl;
    execv("/proc/self/exe", argv);
    return 1; // A service manager that restarts it is the last resort.
}
