// What the session does when a user asks for something. The requests of a rest, between two tracks, only
// choose what comes next; play ends the rest.

#include "session/session.h"

#include "failures.h"
#include "playlist/collect.h"
#include "terminal/keys.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

/// Long enough to hide the jump between sound and silence, short enough not to be waited for.
constexpr seconds short_fade = 120ms;

/// Of a fade-out that is asked for and not described by an option.
constexpr seconds usual_fade_out = 2s;

/// Whoever asks for it does not want to wait for as long as a track may take to its end.
constexpr seconds longest_fade_out = 10s;

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
    wanted_.stop();
    leave_track(fade);
}

/// Lets the track that was to end go on, if it still can.
void session::end_rest()
{
    wanted_.play();
    if (runs_current_track() && run_->resume(smooth_fade())) {
        moved_ = false;
    }
}

seconds session::smooth_fade() const
{
    return options_.smooth && !options_.wav ? short_fade : seconds::zero();
}

void session::set_volume(int volume)
{
    wanted_.set_volume(volume);
    sound_as_wanted();
}

void session::sound_as_wanted()
{
    if (run_) {
        run_->set_volume(wanted_.sounding_volume());
    }
}

void session::set_loop(loop_mode mode)
{
    wanted_.set_loop(mode);
    tracks_.set_loop(mode == loop_mode::list);
    if (player_) {
        player_->set_repeat(repeats());
    }
    if (run_) {
        run_->set_repeat(repeats());
    }
}

/// Returns whether the track can be played, or else tells why not.
bool session::accepts(const std::string& path)
try {
    inspect_track(path);
    return true;
} catch (const track_failure& failure) {
    display_.error(failure.what());
    return false;
}

void session::on(const request::play& /*wanted*/)
{
    if (rests()) {
        end_rest();
        return;
    }
    wanted_.play();
    if (run_ && !moved_) {
        run_->resume(smooth_fade());
    }
}

void session::on(const request::pause& /*wanted*/)
{
    if (wav_) {
        return; // ALSA's file plugin would begin its file anew.
    }
    wanted_.pause();
    if (run_ && !moved_) {
        run_->pause(smooth_fade());
    }
}

void session::on(const request::toggle_pause& /*wanted*/)
{
    if (wanted_.state() == play_state::playing) {
        on(request::pause{});
    } else {
        on(request::play{});
    }
}

void session::on(const request::stop& /*wanted*/)
{
    rest(smooth_fade());
}

void session::on(const request::fade_out& /*wanted*/)
{
    const bool is_chosen = options_.fade_out > seconds::zero();
    rest(is_chosen ? std::min(options_.fade_out, longest_fade_out) : usual_fade_out);
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
    set_volume(wanted_.volume() + wanted.by);
}

void session::on(const request::toggle_mute& /*wanted*/)
{
    wanted_.toggle_mute();
    sound_as_wanted();
}

void session::on(const request::set_loop& wanted)
{
    set_loop(wanted.mode);
}

void session::on(const request::cycle_loop& /*wanted*/)
{
    if (wav_) {
        return; // The file would grow without end.
    }
    set_loop(next_loop_mode(wanted_.loop()));
}

void session::on(const request::set_shuffle& wanted)
{
    tracks_.set_shuffle(wanted.on);
}

/// What plays is broken off only for what can be played.
void session::on(const request::open& wanted)
{
    std::istringstream no_input;
    const std::vector<std::string> paths = collect_tracks({wanted.path}, no_input);
    if (paths.empty()) {
        display_.error(wanted.path + ": there is no track in this list; open another.");
    }
    const auto first = std::find_if(paths.begin(), paths.end(),
                                    [this](const std::string& path) { return accepts(path); });
    if (first != paths.end()) {
        wanted_.play();
        tracks_.insert({first, paths.end()});
        leave_track(smooth_fade());
    }
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

/// The second one does not even wait for an output or a pipe that is blocked.
void session::on(const request::quit& /*wanted*/)
{
    abandons_ = leaving_;
    leave();
}
