/// \file
/// \brief Plays a track to its end, also when the sound server goes away and comes back.
///
/// usage: recover TRACK
///
/// A device that dies in mid-track is not reported: the track races unheard to its end and is told as
/// stopped. So whoever wants to know has to compare the time with the track's length.
///
/// Set MPG123_MODDIR to a folder with links to those output modules that you accept (Debian has them in
/// /usr/lib/<architecture>/mpg123), without output_openal.so: that one "plays" where nothing else can.

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

enum class word { playing, stopped, failed, settled };

/// The library does not tell the length of a track; libmpg123, which it decodes with, does.
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

outcome play(const qz_audio_ptr& player, mailbox<word>& told, seconds length)
{
    qz_audio_play(player);
    if (told.take() != word::playing) {
        return outcome::output_lost;
    }
    const auto start = std::chrono::steady_clock::now();
    if (told.take() == word::failed) {
        return outcome::track_damaged; // In mid-track only the decoder reports failures.
    }
    // An output that has died takes the sound at once.
    const seconds elapsed = std::chrono::steady_clock::now() - start;
    return elapsed < 0.8 * length ? outcome::output_lost : outcome::whole;
}

/// Some failures are told twice, and a play while a track plays would halt it. The completion of a stop
/// comes behind all that the player had to tell, and then it surely does not play.
void settle(const qz_audio_ptr& player, const std::shared_ptr<mailbox<word>>& told)
{
    qz_audio_stop(player, [told](qz_audio_ptr) { told->put(word::settled); });
    while (told->take() != word::settled) {
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
        std::cerr << "recover: " << track << " is no MPEG audio\n";
        return 1;
    }
    const auto told = make_mailbox<word>();
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [told](qz_audio_ptr, int) { told->put(word::failed); });
    qz_audio_on_status_change(player, [told](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_playing) {
            std::cout << "playing" << std::endl;
            told->put(word::playing);
        } else if (status == qz_audio_status_stopped) {
            told->put(word::stopped);
        }
    });
    qz_audio_set_audio_track(player, track);
    settle(player, told);

    outcome last = play(player, *told, length);
    while (last == outcome::output_lost) {
        std::cout << "the output is lost" << std::endl;
        settle(player, told);
        std::this_thread::sleep_for(1s);
        // Once its output has not started, the status is none, and a play opens everything again.
        last = play(player, *told, length);
    }
    qz_audio_destroy(player, __FILE__, __LINE__);
    return last == outcome::whole ? 0 : 1;
}
