/// \file
/// \brief Plays one track after another; the callbacks request the next one.
///
/// usage: next_track TRACK...

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <iostream>
#include <string>
#include <vector>

namespace
{

/// Needs no lock: only callbacks use it, and they run one at a time on one thread.
class playlist
{
public:
    explicit playlist(std::vector<std::string> tracks) : tracks_(std::move(tracks)) {}

    /// A callback may call every function. The play follows when loaded is reported.
    void load_next(const qz_audio_ptr& player)
    {
        if (next_ == tracks_.size()) {
            over.put(failed_);
            return;
        }
        std::cout << "next: " << tracks_[next_] << std::endl;
        qz_audio_set_audio_track(player, tracks_[next_++]);
    }

    void on_status(const qz_audio_ptr& player, qz_audio_status status)
    {
        if (status == qz_audio_status_loaded) {
            qz_audio_play(player);
        } else if (status == qz_audio_status_stopped && !skipping_) {
            load_next(player);
        }
    }

    /// A failure may be reported twice, and stopped may be reported after it. The completion of a stop is called
    /// after all of these, so the next track is requested there, once.
    void on_error(const qz_audio_ptr& player, const std::shared_ptr<playlist>& self)
    {
        if (skipping_) {
            return;
        }
        skipping_ = true;
        ++failed_;
        qz_audio_stop(player, [self](qz_audio_ptr same_player) {
            self->skipping_ = false;
            self->load_next(same_player);
        });
    }

    mailbox<int> over; ///< Gets the number of failed tracks at the end.

private:
    std::vector<std::string> tracks_;
    std::size_t next_ = 0;
    int failed_ = 0;
    bool skipping_ = false;
};

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::cerr << "usage: next_track TRACK...\n";
        return 1;
    }
    const auto tracks = std::make_shared<playlist>(std::vector<std::string>(argv + 1, argv + argc));
    const qz_audio_ptr player = qz_audio_new();

    // Callbacks get the player as an argument. One that captured it would keep it alive until it is destroyed.
    qz_audio_on_error(player, [tracks](qz_audio_ptr same, int) { tracks->on_error(same, tracks); });
    qz_audio_on_status_change(player, [tracks](qz_audio_ptr same, qz_audio_status status) {
        tracks->on_status(same, status);
    });

    // There is nothing to stop. The completion is a callback like the others and starts the first track.
    qz_audio_stop(player, [tracks](qz_audio_ptr same) { tracks->load_next(same); });

    const int failed = tracks->over.take();
    qz_audio_destroy(player, __FILE__, __LINE__);
    std::cout << failed << " failed" << std::endl;
    return failed == 0 ? 0 : 1;
}
