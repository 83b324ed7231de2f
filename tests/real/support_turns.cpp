#include "support_turns.h"

#include "event.h"

#include "qz_audio/qz_audio.h"

#include <boost/weak_ptr.hpp>

#include <memory>
#include <utility>

namespace
{

class turns
{
public:
    explicit turns(std::vector<std::string> tracks) : tracks_(std::move(tracks)) {}

    void begin_next(const qz_audio_ptr& player)
    {
        if (next_ == tracks_.size()) {
            over_.set();
            return;
        }
        qz_audio_set_audio_track(player, tracks_[next_++]);
        qz_audio_play(player);
    }

    [[nodiscard]] bool end() { return over_.wait(); }

private:
    const std::vector<std::string> tracks_;
    std::size_t next_ = 0;
    event over_;
};

} // namespace

track_settings noise(int milliseconds, int channels)
{
    constexpr int silence = 50;
    track_settings settings;
    settings.channels = channels;
    settings.seconds = std::to_string((milliseconds - silence) / 1000.0);
    settings.sound = {"whitenoise", "pad", std::to_string(silence / 1000.0)};
    return settings;
}

bool plays_in_turn(const std::vector<std::string>& tracks)
{
    const auto all = std::make_shared<turns>(tracks);
    qz_audio_ptr player = qz_audio_new();
    qz_audio_on_status_change(player, [all](const qz_audio_ptr& ended, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            all->begin_next(ended);
        }
    });
    all->begin_next(player);
    const bool over = all->end();

    const boost::weak_ptr<_qz_audio> watched = player;
    qz_audio_destroy(player, __FILE__, __LINE__);
    player.reset();
    return wait_until([&] { return watched.expired(); }) && over;
}
