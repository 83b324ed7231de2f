/// \file
/// \brief Plays a track to its end, also if the sound server ends and restarts.
///
/// usage: recover TRACK
///
/// A device that fails during a track is not reported: the rest of the track is decoded without sound, and
/// stopped is reported too early. So the program compares the time with the track's length.
///
/// Set MPG123_MODDIR to a folder with links to the output modules that you accept (Debian has them in
/// /usr/lib/<architecture>/mpg123), without output_openal.so: that one "plays" on machines without sound.

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <mpg123.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <thread>

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

namespace
{

enum class event { playing, stopped, failed, settled };

/// The library does not report the length of a track, but libmpg123 does.
seconds length_of(const std::string& track)
{
    const std::unique_ptr<mpg123_handle, decltype(&mpg123_delete)> decoder(
        mpg123_new(nullptr, nullptr), &mpg123_delete);
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    if (mpg123_open(decoder.get(), track.c_str()) != MPG123_OK ||
        mpg123_getformat(decoder.get(), &rate, &channels, &encoding) != MPG123_OK ||
        mpg123_scan(decoder.get()) != MPG123_OK) {
        return 0s;
    }
    return seconds(static_cast<double>(mpg123_length(decoder.get())) / static_cast<double>(rate));
}

enum class outcome { whole, output_lost, track_damaged };

outcome play(const qz_audio_ptr& player, mailbox<event>& events, seconds length)
{
    qz_audio_play(player);
    if (events.take() != event::playing) {
        return outcome::output_lost;
    }
    const auto start = std::chrono::steady_clock::now();
    if (events.take() == event::failed) {
        return outcome::track_damaged; // During a track only decode errors are reported.
    }
    // A failed output takes the sound at once.
    const seconds elapsed = std::chrono::steady_clock::now() - start;
    return elapsed < 0.8 * length ? outcome::output_lost : outcome::whole;
}

/// Some failures are reported twice, and a play during a track would halt it. The completion of a stop is
/// called after all earlier reports, and the player does not play then.
void settle(const qz_audio_ptr& player, const std::shared_ptr<mailbox<event>>& events)
{
    qz_audio_stop(player, [events](qz_audio_ptr) { events->put(event::settled); });
    while (events->take() != event::settled) {
    }
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: recover TRACK\n";
        return 1;
    }
    const std::string track = argv[1];
    const seconds length = length_of(track);
    if (length == 0s) {
        std::cerr << "recover: " << track << " is not MPEG audio\n";
        return 1;
    }
    const auto events = make_mailbox<event>();
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [events](qz_audio_ptr, int) { events->put(event::failed); });
    qz_audio_on_status_change(player, [events](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_playing) {
            std::cout << "playing" << std::endl;
            events->put(event::playing);
        } else if (status == qz_audio_status_stopped) {
            events->put(event::stopped);
        }
    });
    qz_audio_set_audio_track(player, track);
    settle(player, events);

    outcome last = play(player, *events, length);
    while (last == outcome::output_lost) {
        std::cout << "the output is lost" << std::endl;
        settle(player, events);
        std::this_thread::sleep_for(1s);
        // If the output could not be started, the status is none, and a play opens everything again.
        last = play(player, *events, length);
    }
    qz_audio_destroy(player, __FILE__, __LINE__);
    return last == outcome::whole ? 0 : 1;
}
