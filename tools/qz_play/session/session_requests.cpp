// What the session does when a user asks for something. The requests of a rest, between two tracks, only
// choose what comes next; play ends the rest.

#include "session/session.h"

#include "terminal/keys.h"

#include <algorithm>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

/// Long enough to hide the jump between sound and silence, short enough not to be waited for.
constexpr seconds short_fade = 120ms;

/// Of a fade-out that is asked for and not described by an option.
constexpr seconds usual_fade_out = 2s;

} // namespace

/// Breaks off what plays; the list stands at the track to play instead.
void session::leave_track(seconds fade)
{
    moved_ = true;
    if (run_) {
        run_->cancel(fade);
    }
}

void session::leave()
{
    leaving_ = true;
    leave_track(smooth_fade());
}

void session::rest(seconds fade)
{
    resting_ = true;
    paused_ = false;
    leave_track(fade);
}

/// Lets the track that was to end go on, if it still can.
void session::end_rest()
{
    resting_ = false;
    const bool same_track = run_ && run_number_ == tracks_.number();
    if (same_track && run_->resume(smooth_fade())) {
        moved_ = false;
    }
}

seconds session::smooth_fade() const
{
    return options_.smooth && !options_.wav ? short_fade : seconds::zero();
}

void session::set_volume(int volume)
{
    volume_ = std::clamp(volume, 0, 100);
    muted_ = false;
    if (run_) {
        run_->set_volume(volume_);
    }
}

void session::set_loop(loop_mode mode)
{
    loop_ = mode;
    tracks_.set_loop(mode == loop_mode::list);
    if (player_) {
        player_->set_repeat(mode == loop_mode::track);
    }
    if (run_) {
        run_->set_repeat(mode == loop_mode::track);
    }
}

void session::on(const request::play& /*wanted*/)
{
    paused_ = false;
    if (resting_) {
        end_rest();
    } else if (run_ && !moved_) {
        run_->resume(smooth_fade());
    }
}

void session::on(const request::pause& /*wanted*/)
{
    if (wav_) {
        return; // ALSA's file plugin would begin its file anew.
    }
    paused_ = !resting_;
    if (run_ && !moved_) {
        run_->pause(smooth_fade());
    }
}

void session::on(const request::toggle_pause& /*wanted*/)
{
    if (resting_ || paused_) {
        on(request::play{});
    } else {
        on(request::pause{});
    }
}

void session::on(const request::stop& /*wanted*/)
{
    rest(smooth_fade());
}

void session::on(const request::fade_out& /*wanted*/)
{
    rest(options_.fade_out > seconds::zero() ? options_.fade_out : usual_fade_out);
}

void session::on(const request::next& /*wanted*/)
{
    if (tracks_.has_next()) {
        tracks_.go_to_next();
        leave_track(smooth_fade());
    }
}

void session::on(const request::previous& /*wanted*/)
{
    if (tracks_.has_previous()) {
        tracks_.go_to_previous();
        leave_track(smooth_fade());
    }
}

void session::on(const request::set_volume& wanted)
{
    set_volume(wanted.volume);
}

void session::on(const request::change_volume& wanted)
{
    set_volume(volume_ + wanted.by);
}

void session::on(const request::toggle_mute& /*wanted*/)
{
    muted_ = !muted_;
    if (run_) {
        run_->set_volume(sounding_volume());
    }
}

void session::on(const request::set_loop& wanted)
{
    set_loop(wanted.mode);
}

void session::on(const request::cycle_loop& /*wanted*/)
{
    switch (loop_) {
    case loop_mode::none:
        return set_loop(loop_mode::track);
    case loop_mode::track:
        return set_loop(loop_mode::list);
    case loop_mode::list:
        return set_loop(loop_mode::none);
    }
}

void session::on(const request::set_shuffle& wanted)
{
    tracks_.set_shuffle(wanted.on);
}

void session::on(const request::open& wanted)
{
    paused_ = false;
    resting_ = false;
    tracks_.insert(wanted.path);
    leave_track(smooth_fade());
}

void session::on(const request::show_info& /*wanted*/)
{
    display_.tell(look());
}

void session::on(const request::show_help& /*wanted*/)
{
    for (const std::string& line : key_help()) {
        display_.line(line);
    }
}

void session::on(const request::quit& /*wanted*/)
{
    leave();
}
