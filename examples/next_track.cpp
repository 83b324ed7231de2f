/// \file
/// \brief Plays one track after another; the callbacks themselves ask for the next.
///
/// usage: next_track TRACK...

#include "mailbox.h"

#include "qz_audio/qz_audio.h"

#include <iostream>
#include <string>
#include <vector>

namespace
{

/// Needs no lock, since only callbacks touch it, and they run one at a time on one thread.
class programme
{
public:
    explicit programme(std::vector<std::string> tracks) : tracks_(std::move(tracks)) {}

    /// From inside a callback every function may be called. Here is no play: that waits until the track
    /// is known to be loaded.
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
        } else if (status == qz_audio_status_stopped && !leaving_failed_) {
            load_next(player);
        }
    }

    /// One failure may be told twice, and a failure in mid-track tells stopped behind it. The completion
    /// of a stop comes behind all of that, so there the next track is asked for once.
    void on_error(const qz_audio_ptr& player, const std::shared_ptr<programme>& self)
    {
        if (leaving_failed_) {
            return;
        }
        leaving_failed_ = true;
        ++failed_;
        qz_audio_stop(player, [self](qz_audio_ptr same_player) {
            self->leaving_failed_ = false;
            self->load_next(same_player);
        });
    }

    mailbox<int> over; ///< Is told how many tracks have failed.

private:
    std::vector<std::string> tracks_;
    std::size_t next_ = 0;
    int failed_ = 0;
    bool leaving_failed_ = false;
};

} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2) {
        std::cerr << "usage: next_track TRACK...\n";
        return 1;
    }
    const auto tracks =
        std::make_shared<programme>(std::vector<std::string>(argv + 1, argv + argc));
    const qz_audio_ptr player = qz_audio_new();

    // The callbacks get the player as an argument. One that captured it would hold it for ever.
    qz_audio_on_error(player, [tracks](qz_audio_ptr same, int) { tracks->on_error(same, tracks); });
    qz_audio_on_status_change(player, [tracks](qz_audio_ptr same, qz_audio_status status) {
        tracks->on_status(same, status);
    });

    // A stop that stops nothing: its completion is a callback like the others, and begins the round.
    qz_audio_stop(player, [tracks](qz_audio_ptr same) { tracks->load_next(same); });

    const int failed = tracks->over.take();
    qz_audio_destroy(player, __FILE__, __LINE__);
    std::cout << failed << " failed" << std::endl;
    return failed == 0 ? 0 : 1;
}
