/// \file
/// \brief Plays one track to its end: requests return at once, callbacks tell what has come of them.
///
/// usage: play_track TRACK

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <iostream>

namespace
{

enum class word { ended, failed };

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2) {
        std::cerr << "usage: play_track TRACK\n";
        return 1;
    }
    const auto told = make_mailbox<word>();
    const qz_audio_ptr player = qz_audio_new();

    // Register first, ask then: what happens before nobody listens is not told again.
    qz_audio_on_error(player, [told](qz_audio_ptr, int) { told->put(word::failed); });
    qz_audio_on_status_change(player, [told](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            told->put(word::ended);
        }
    });

    // Both return at once. The player's own thread serves them one after the other; the play opens the
    // sound device and loads the track if that has not been done.
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);

    // Whatever comes first decides: some failures are told twice.
    const word first = told->take();

    // Required: a player whose handles are merely dropped stays alive, and a repeating one plays on.
    qz_audio_destroy(player, __FILE__, __LINE__);
    if (first == word::failed) {
        std::cerr << "play_track: " << argv[1] << " could not be played\n";
    }
    return first == word::ended ? 0 : 1;
}
