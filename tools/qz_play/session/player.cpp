#include "session/player.h"

#include <utility>

player::player(std::shared_ptr<event_queue> events)
    : relay_(std::make_shared<event_relay>(std::move(events))), audio_(qz_audio_new())
{
    qz_audio_on_status_change(audio_, [relay = relay_](qz_audio_ptr, qz_audio_status status) {
        relay->push(status_changed{status});
    });
    qz_audio_on_error(
        audio_, [relay = relay_](qz_audio_ptr, int code) { relay->push(error_reported{code}); });
    qz_audio_on_volume_change(audio_, [relay = relay_](qz_audio_ptr, int volume) {
        relay->push(volume_changed{volume});
    });
}

player::~player()
{
    qz_audio_destroy(audio_, __FILE__, __LINE__);
}

void player::forget()
{
    relay_->close();
}

void player::open()
{
    qz_audio_open(audio_);
}

void player::load(const std::string& path)
{
    qz_audio_set_audio_track(audio_, path);
}

void player::play()
{
    qz_audio_play(audio_);
}

void player::pause()
{
    qz_audio_pause(audio_);
}

void player::stop()
{
    qz_audio_stop(audio_, [relay = relay_](qz_audio_ptr) { relay->push(stop_completed{}); });
}

void player::set_volume(int volume)
{
    qz_audio_set_volume(audio_, volume);
}

void player::set_repeat(bool on)
{
    qz_audio_set_repeat(audio_, on);
}
