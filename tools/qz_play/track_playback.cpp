#include "track_playback.h"

#include <mpg123.h>

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{

using namespace std::chrono_literals;

/// A pause or a volume that has had no effect for this time is sent again.
constexpr auto pause_resend_period = 200ms;
constexpr auto volume_resend_period = 50ms;

/// A player that does not stop within this time, when the user wants it, is abandoned. A WAV file gets more time,
/// because its header is completed at the stop.
constexpr auto stop_timeout = 1s;
constexpr auto file_stop_timeout = 10s;

/// Tolerances of `was_too_fast`: sound that is still buffered at the end, and differences between clocks.
constexpr track_playback::seconds buffer_at_end{2};
constexpr track_playback::seconds uncertainty_per_pause{0.5};
constexpr double max_clock_drift = 0.03;

constexpr auto output_hangs = "the sound output does not respond";
constexpr auto too_fast = "the sound output takes data faster than real time";

} // namespace

track_playback::track_playback(event_loop& loop, player& audio, std::string path,
                               const media_info& info, const settings& initial,
                               qz_audio_status status, std::function<void()> changed)
    : player_(audio), path_(std::move(path)), settings_(initial), changed_(std::move(changed)),
      timer_(loop,
             [this] {
                 update();
                 changed_();
             }),
      status_(status), output_was_open_(status != qz_audio_status_none),
      fade_(initial.fade_in, initial.fade_out)
{
    set_size(info.size);
    player_.load(path_);
    update();
}

void track_playback::on_status(qz_audio_status status)
{
    const auto now = clock::now();
    status_ = status;
    output_was_open_ = output_was_open_ || status != qz_audio_status_none;
    watchdog_.on_answer(now);
    stopwatch_.set_running(status == qz_audio_status_playing, now);
    has_played_ = has_played_ || stopwatch_.is_running();
    if (status == qz_audio_status_loaded && state_ == state::loading) {
        state_ = state::loaded;
    } else if (status == qz_audio_status_playing && state_ == state::starting) {
        enter_playing();
    } else if (status == qz_audio_status_paused &&
               (state_ == state::pausing || state_ == state::playing)) {
        state_ = state::paused; // from `playing`, if the pause was considered lost
        stopwatch_.set(stopwatch_.elapsed() + settings_.dropped_by_pause);
    } else if (status == qz_audio_status_stopped && state_ < state::stopping) {
        is_complete_ = target_ != target::stop;
        begin_stop();
    }
    update();
}

void track_playback::on_failure(int code)
{
    if (failure_ == failure::none && state_ < state::stopping) {
        failure_ =
            state_ <= state::starting && is_output_failure(code) ? failure::output : failure::track;
        problem_ = describe(code);
        begin_stop();
    }
    update();
}

void track_playback::on_volume(int volume)
{
    watchdog_.on_answer(clock::now());
    volume_is_set_ = volume_is_set_ || volume == volume_;
    if (state_ == state::pausing && target_ == target::play) {
        enter_playing(); // the pause was lost
    }
    update();
}

void track_playback::on_stop_completed()
{
    state_ = state::over;
    update();
}

void track_playback::pause(seconds duration)
{
    if (state_ < state::stopping) {
        fade_to_silence(target::pause, duration);
    }
    update();
}

void track_playback::play(seconds duration)
{
    if (state_ >= state::stopping) {
        return;
    }
    target_ = target::play;
    resume_fade_ = duration;
    if (state_ == state::playing) {
        fade_.ramp_to(1, duration, clock::now());
    }
    update();
}

void track_playback::stop(seconds duration)
{
    fade_to_silence(target::stop, duration);
    update();
}

void track_playback::set_volume(int percent)
{
    settings_.volume = percent;
    update();
}

void track_playback::set_repeat(bool on)
{
    is_position_exact_ = is_position_exact_ && !settings_.repeats;
    stopwatch_.set(position()); // completed repetitions do not count
    settings_.repeats = on;
}

void track_playback::set_size(const std::optional<decoded_size>& size)
{
    size_ = size;
    fade_.set_length(size ? std::optional<seconds>(size->length) : std::nullopt);
}

void track_playback::on_continued()
{
    stopwatch_.discard_unrecorded();
    request_sent_ = clock::now();
    is_position_exact_ = false;
    update();
}

track_playback::seconds track_playback::position()
{
    const seconds elapsed = stopwatch_.elapsed();
    if (!size_) {
        return elapsed;
    }
    const seconds length = size_->length;
    return settings_.repeats ? seconds(std::fmod(elapsed.count(), length.count()))
                             : std::min(elapsed, length);
}

track_playback::failure track_playback::result()
{
    return failure_ == failure::none && was_too_fast() ? failure::output : failure_;
}

std::string track_playback::problem()
{
    return failure_ == failure::none && was_too_fast() ? too_fast : problem_;
}

/// Takes the steps that are due, and sets the timer for the next one.
void track_playback::update()
{
    const bool takes_volume = state_ >= state::playing && state_ < state::stopping;
    const bool is_lost = awaits_volume() && clock::now() - volume_sent_ >= volume_resend_period;
    if (takes_volume && (target_volume() != volume_ || is_lost)) {
        send_volume();
    }
    step();
    check_output();
    timer_.set(next_deadline());
}

void track_playback::step()
{
    const bool is_silent = clock::now() >= silent_at_;
    if (state_ == state::loaded && target_ == target::play) {
        start();
    } else if (state_ == state::paused && target_ == target::play) {
        state_ = state::starting;
        player_.play();
    } else if (state_ == state::playing && target_ == target::pause && is_silent) {
        ++pauses_;
        send_pause();
    } else if (is_pause_lost()) {
        send_pause();
    } else if (target_ == target::stop && may_stop(is_silent)) {
        begin_stop();
    }
}

/// Always sends the volume: the previous track may have left another one.
void track_playback::start()
{
    state_ = state::starting;
    send_volume();
    player_.play();
}

void track_playback::enter_playing()
{
    state_ = state::playing;
    if (target_ == target::play) {
        fade_.ramp_to(1, resume_fade_, clock::now());
    }
}

/// Also sends the volume: if the pause gets lost, the player's answer to the volume shows that it still runs. A pause
/// that is no longer wanted is not repeated.
void track_playback::send_pause()
{
    state_ = state::pausing;
    request_sent_ = clock::now();
    if (target_ == target::pause) {
        player_.pause();
    }
    send_volume();
}

bool track_playback::is_pause_lost() const
{
    return state_ == state::pausing && target_ != target::stop &&
           clock::now() - request_sent_ >= pause_resend_period;
}

/// Only a track that repeats continues after its last block.
bool track_playback::awaits_volume() const
{
    return state_ == state::playing && settings_.repeats && settings_.is_regular_file &&
           !volume_is_set_;
}

bool track_playback::may_stop(bool is_silent) const
{
    return state_ < state::stopping && (state_ != state::playing || is_silent);
}

void track_playback::begin_stop()
{
    state_ = state::stopping;
    request_sent_ = clock::now();
    player_.stop();
}

/// A device that discards its buffer gets the same amount of silence first; otherwise the fade would be discarded. A
/// second request does not delay the first one.
void track_playback::fade_to_silence(target wanted, seconds duration)
{
    auto silent_at = clock::now();
    if (duration > seconds::zero() && state_ == state::playing) {
        fade_.ramp_to(0, duration, silent_at);
        silent_at += std::chrono::ceil<clock::duration>(duration + settings_.dropped_by_pause);
    }
    silent_at_ = target_ == target::play ? silent_at : std::min(silent_at_, silent_at);
    target_ = wanted;
}

int track_playback::target_volume()
{
    return static_cast<int>(std::lround(settings_.volume * fade_.level(position(), clock::now())));
}

/// Sends the volume even if it has not changed, to get an answer.
void track_playback::send_volume()
{
    volume_ = target_volume();
    volume_is_set_ = false;
    volume_sent_ = clock::now();
    watchdog_.on_resend(volume_sent_);
    player_.set_volume(volume_);
}

track_playback::clock::time_point track_playback::stop_deadline() const
{
    const bool completes_file = !settings_.is_device && has_played_;
    return request_sent_ + (completes_file ? file_stop_timeout : stop_timeout);
}

/// A player that waits for a pipe or a disk does not stop. The user should not have to wait for it.
bool track_playback::is_stuck() const
{
    return state_ == state::stopping && target_ == target::stop && clock::now() >= stop_deadline();
}

void track_playback::check_output()
{
    if (is_stuck()) {
        failure_ = failure::hang;
        state_ = state::over;
    }
    if (!is_watched()) {
        return;
    }
    switch (watchdog_.check(clock::now(), waits_for_player())) {
    case output_watchdog::verdict::fine:
        break;
    case output_watchdog::verdict::ping:
        send_volume();
        break;
    case output_watchdog::verdict::hangs:
        if (!waits_for_pipe()) {
            failure_ = failure::hang;
            problem_ = output_hangs;
            state_ = state::over;
        }
        break;
    }
    if (watchdog_.is_too_fast() && state_ == state::playing) {
        failure_ = failure::output;
        problem_ = too_fast;
        begin_stop();
    }
}

/// A pipe may be slow, which is no failure. But if it had unread data at two checks in a row, the player does not
/// wait for it.
bool track_playback::waits_for_pipe()
{
    if (settings_.is_regular_file) {
        return false;
    }
    const bool is_full = pipe_ && pipe_->has_data();
    return !std::exchange(pipe_was_full_, is_full) || !is_full;
}

bool track_playback::is_watched() const
{
    const bool is_open = settings_.is_regular_file || state_ >= state::loaded;
    return settings_.is_device && is_open && state_ != state::over &&
           (is_advancing() || waits_for_player());
}

/// In the states `loaded` and `paused` the next event comes from the user, not from the player.
bool track_playback::waits_for_player() const
{
    return state_ != state::loaded && state_ != state::playing && state_ != state::paused;
}

track_playback::clock::time_point track_playback::next_deadline()
{
    const auto now = clock::now();
    clock::time_point next = is_watched() ? watchdog_.deadline() : clock::time_point::max();
    if (state_ == state::playing && target_ != target::play) {
        next = std::min(next, silent_at_);
    } else if (state_ == state::pausing) {
        next = std::min(next, request_sent_ + pause_resend_period);
    } else if (state_ == state::stopping && target_ == target::stop) {
        next = std::min(next, stop_deadline());
    }
    if (awaits_volume()) {
        next = std::min(next, volume_sent_ + volume_resend_period);
    }
    const auto change = is_advancing() ? fade_.next_change(position(), now) : std::nullopt;
    if (state_ == state::playing && change) {
        next = std::min(next, now + std::chrono::ceil<clock::duration>(*change));
    }
    return next;
}

/// An output that has disappeared, such as an ended sound server, accepts all data immediately.
bool track_playback::was_too_fast()
{
    if (!settings_.is_device || !settings_.is_regular_file || !is_complete_ || !size_ ||
        !is_position_exact_) {
        return false;
    }
    const seconds heard = stopwatch_.elapsed() + buffer_at_end + pauses_ * uncertainty_per_pause;
    return heard < (1 - max_clock_drift) * size_->length;
}

/// The code may come from libmpg123 or libout123. The state of the player shows from which.
bool track_playback::is_output_failure(int code) const
{
    const bool output_is_gone = status_ == qz_audio_status_none;
    return output_is_gone && (code == 0 || state_ == state::starting || !output_was_open_);
}

/// libout123's own message would mislead: it names the driver even if the sound server has ended.
std::string track_playback::describe(int code) const
{
    if (failure_ == failure::output) {
        return "the sound output cannot be started";
    }
    return state_ >= state::playing
               ? "damaged, or its format changes: stopped before the end"
               : std::string("cannot be decoded: ") + mpg123_plain_strerror(code);
}
