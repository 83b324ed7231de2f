// What the session does when something has happened.

#include "session/session.h"

#include "session/signals.h"

namespace
{

using namespace std::chrono_literals;

/// Between the request to pause and the pause.
constexpr auto longest_pause = 1s;

const char* word_for(qz_audio_status status)
{
    switch (status) {
    case qz_audio_status_none:
        return "closed";
    case qz_audio_status_opened:
        return "opened";
    case qz_audio_status_loaded:
        return "loaded";
    case qz_audio_status_playing:
        return "playing";
    case qz_audio_status_paused:
        return "paused";
    case qz_audio_status_stopped:
        return "stopped";
    }
    return "";
}

bool concerns_track(qz_audio_status status)
{
    return status != qz_audio_status_none && status != qz_audio_status_opened;
}

} // namespace

void session::on(const status_changed& change)
{
    status_ = change.status;
    heard_ = heard_ || status_ == qz_audio_status_playing;
    if (run_) {
        run_->on(change);
    }
    const bool of_track = run_ && concerns_track(status_);
    display_.event((of_track ? run_->played().path : "sound output") + ": " + word_for(status_));
}

void session::on(const error_reported& error)
{
    if (run_) {
        run_->on(error);
    } else {
        open_error_ = error.code;
    }
}

void session::on(const volume_changed& change)
{
    if (run_) {
        run_->on(change);
    }
}

void session::on(const stop_completed& completion)
{
    if (run_) {
        run_->on(completion);
    }
}

/// May concern a track that is over.
void session::on(const track_measured& measured)
{
    if (run_ && run_->played().path == measured.path) {
        run_->learn_size(measured.size);
        measures_ = false;
    }
}

void session::on(const end_requested& /*signal*/)
{
    ended_by_signal_ = true;
    leave();
}

/// Also those hear of it who go on from the position that they were told.
void session::on(const continued& /*signal*/)
{
    after_stop_();
    if (run_) {
        run_->take_back_stop();
    }
    told_ = {};
    display_.clear_live();
}

void session::on(const screen_changed& /*signal*/)
{
    display_.clear_live();
}

/// The sound pauses first: what a stopped process leaves to the device would end in a crackle, and its
/// clock would run on. An output that is blocked is not waited for. Sound into a file knows no pause.
void session::on(const suspend_requested& /*signal*/)
{
    stop_due_ = event_queue::clock::now();
    if (sounds() && !wav_) {
        *stop_due_ += longest_pause;
        run_->pause(smooth_fade());
    }
}

void session::suspend_when_silent()
{
    const bool waits = sounds() && !wav_ && stop_due_ > event_queue::clock::now();
    if (!stop_due_ || waits) {
        return;
    }
    stop_due_.reset();
    display_.clear_live();
    before_stop_();
    stop_this_process();
    after_stop_();
    go_on_after_suspension();
}

/// What was to end does so now, without the rest of its fade.
void session::go_on_after_suspension()
{
    if (run_ && moved_) {
        run_->cancel(seconds::zero());
    } else if (run_ && wanted_.state() == play_state::playing) {
        run_->resume(smooth_fade());
    }
}

void session::on(const user_request& wanted)
{
    std::visit([this](const auto& one) { on(one); }, wanted);
}
