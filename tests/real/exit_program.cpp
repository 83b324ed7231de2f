/// \file
/// \brief Plays the track that its first argument names, and returns from main with status 7 when it gets
/// SIGUSR1 after it has told the status that its second argument names.

#include "statuses.h"
#include "support_player.h"

#include <csignal>
#include <iostream>

int main(int, char** arguments)
{
    // Before any thread is made, so that none of them takes the signal.
    sigset_t awaited{};
    sigemptyset(&awaited);
    sigaddset(&awaited, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &awaited, nullptr);

    const qz_audio_ptr player = qz_audio_new();
    const std::string word = arguments[2];
    qz_audio_on_status_change(player, [word](const qz_audio_ptr&, qz_audio_status status) {
        if (status_name(status) == word) {
            std::cout << word << std::endl;
        }
    });
    qz_audio_set_audio_track(player, arguments[1]);
    qz_audio_play(player);

    int signal = 0;
    sigwait(&awaited, &signal);
    return 7;
}
