/// \file
/// \brief Plays one track to its end: requests return at once, callbacks report the results.
///
/// usage: play_track TRACK

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <iostream>

namespace
{

enum class event { ended, failed };

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: play_track TRACK\n";
        return 1;
    }
    const auto events = make_mailbox<event>();
    const qz_audio_ptr player = qz_audio_new();

    // Register first: events without a callback are lost.
    qz_audio_on_error(player, [events](qz_audio_ptr, int) { events->put(event::failed); });
    qz_audio_on_status_change(player, [events](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            events->put(event::ended);
        }
    });

    // Both return at once. The player's own thread serves them one after the other. The first one opens the
    // sound device.
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);

    // The first event counts, since some failures are reported twice.
    const event first = events->take();

    // Required: without it the player stays alive, even without a handle.
    qz_audio_destroy(player, __FILE__, __LINE__);
    if (first == event::failed) {
        std::cerr << "play_track: " << argv[1] << " could not be played\n";
    }
    return first == event::ended ? 0 : 1;
}
