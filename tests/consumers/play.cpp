// Plays a track to its end. Exits with 1 when that fails.
#include <qz_audio/qz_audio.h>

#include <cstdlib>
#include <future>

int main(int, char* argv[])
{
    static std::promise<void> end; // callbacks may come for as long as the process lives

    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_error(player, [](qz_audio_ptr, int) { std::quick_exit(1); });
    qz_audio_on_status_change(player, [](qz_audio_ptr, qz_audio_status status) {
        if (status == qz_audio_status_stopped)
            end.set_value();
    });
    qz_audio_set_audio_track(player, argv[1]);
    qz_audio_play(player);

    end.get_future().wait();
    qz_audio_destroy(player, __FILE__, __LINE__);
}
