#include "session/track_run.h"

#include "failures.h"

#include <mpg123.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

namespace
{

/// A file of sound is written as fast as it can be, and a pipe gives its track when it likes.
bool keeps_time(const options& chosen, const track& played)
{
    std::error_code ignored;
    return !chosen.wav && std::filesystem::is_regular_file(played.path, ignored);
}

} // namespace

track_run::track_run(player& audio, track played, const options& chosen, manner wanted,
                     qz_audio_status status)
    : player_(audio), track_(std::move(played)), manner_(wanted), options_(chosen),
      curve_(options_, track_), status_(status), output_was_open_(status != qz_audio_status_none),
      watched_(keeps_time(chosen, track_))
{
    player_.load(track_.path);
}

void track_run::on(const status_changed& change)
{
    status_ = change.status;
    asked_ = false;
    output_was_open_ = output_was_open_ || status_ != qz_audio_status_none;
    if (status_ == qz_audio_status_playing && phase_ == phase::starting) {
        phase_ = phase::playing;
    }
    watch_.answered(output_watch::clock::now());
    if (status_ == qz_audio_status_playing) {
        clock_.start();
    } else {
        clock_.stop();
    }
    if (status_ == qz_audio_status_playing && wish_ == wish::sound) {
        rise(rise_of_resume_);
    }
    if (status_ == qz_audio_status_stopped && phase_ == phase::playing) {
        complete_ = wish_ != wish::end;
        end();
    }
    pursue_wish();
}

void track_run::on(const error_reported& error)
{
    if (problem_.empty() && phase_ < phase::ending) {
        problem_ = track_.path + ": " + describe(error.code);
        output_failed_ = phase_ != phase::playing && is_of_output(error.code);
        end();
    }
}

void track_run::on(const stop_completed&)
{
    phase_ = phase::over;
}

void track_run::on(const volume_changed& /*change*/)
{
    watch_.answered(output_watch::clock::now());
}

void track_run::pause(seconds fade)
{
    wish_ = wish::pause;
    fall(fade);
    pursue_wish();
}

bool track_run::resume(seconds fade)
{
    if (phase_ >= phase::ending) {
        return false;
    }
    wish_ = wish::sound;
    rise_of_resume_ = fade;
    const bool rises_with_first_block = status_ == qz_audio_status_paused && fade > seconds::zero();
    if (!rises_with_first_block) {
        rise(fade);
    }
    follow_clock();
    return true;
}

void track_run::cancel(seconds fade)
{
    wish_ = wish::end;
    if (phase_ < phase::playing) {
        end();
    } else {
        fall(fade);
        pursue_wish();
    }
}

void track_run::learn_size(const std::optional<track::extent>& size)
{
    track_.size = size;
    curve_ = volume_curve(options_, track_);
}

void track_run::set_volume(int volume)
{
    manner_.volume = volume;
    follow_clock();
}

/// The rounds that are over count no more.
void track_run::set_repeat(bool on)
{
    clock_.set(position());
    manner_.repeats = on;
}

void track_run::take_back_stop()
{
    clock_.take_back_stop();
    was_stopped_ = true;
}

void track_run::follow_clock()
{
    clock_.look();
    if (phase_ == phase::playing) {
        set_due_volume();
    }
    pursue_wish();
    watch_output();
}

std::optional<track_run::seconds> track_run::next_duty() const
{
    const bool watches = watched_ && owed_answer();
    if (!clock_.running()) {
        return watches ? std::optional<seconds>(output_watch::period) : std::nullopt;
    }
    const seconds longest = fading() ? volume_curve::step : seconds(output_watch::period);
    return std::min(curve_.steady_for(position()).value_or(longest), longest);
}

track_run::seconds track_run::position() const
{
    const seconds elapsed = clock_.elapsed();
    if (!track_.size) {
        return elapsed;
    }
    const seconds length = track_.size->length;
    return manner_.repeats ? seconds(std::fmod(elapsed.count(), length.count()))
                           : std::min(elapsed, length);
}

/// The volume is set in any case: the track before may have left another.
void track_run::start()
{
    phase_ = phase::starting;
    volume_ = due_volume();
    player_.set_volume(volume_);
    player_.play();
}

void track_run::rise(seconds whole)
{
    ramp_.move(1, whole, volume_ramp::clock::now());
}

/// What does not fade keeps its volume to the last sample.
void track_run::fall(seconds whole)
{
    const auto now = volume_ramp::clock::now();
    ramp_.move(whole > seconds::zero() ? 0 : ramp_.level(now), whole, now);
}

int track_run::due_volume() const
{
    const double level = curve_.level_at(position()) * ramp_.level(volume_ramp::clock::now());
    return static_cast<int>(std::lround(manner_.volume * level));
}

void track_run::set_due_volume()
{
    const int due = due_volume();
    if (due != volume_) {
        volume_ = due;
        player_.set_volume(due);
    }
}

void track_run::pursue_wish()
{
    if (phase_ == phase::loading && status_ == qz_audio_status_loaded && wish_ == wish::sound) {
        start();
    }
    if (phase_ != phase::playing) {
        return;
    }
    if (wish_ == wish::end && (status_ == qz_audio_status_paused || !fading())) {
        end();
    } else if (wish_ == wish::sound && status_ == qz_audio_status_paused && !asked_) {
        asked_ = true;
        player_.play();
    } else if (wish_ == wish::pause && status_ == qz_audio_status_playing && !fading() && !asked_) {
        asked_ = true;
        player_.pause();
    }
}

void track_run::end()
{
    phase_ = phase::ending;
    player_.stop();
}

void track_run::watch_output()
{
    if (!watched_ || over()) {
        return;
    }
    switch (duty_to_output()) {
    case output_watch::duty::none:
        break;
    case output_watch::duty::ask:
        player_.set_volume(volume_);
        break;
    case output_watch::duty::give_up:
        problem_ = track_.path + output_hangs;
        blocked_ = true;
        phase_ = phase::over;
        break;
    }
    if (watch_.rushes() && phase_ == phase::playing) {
        rushed_ = true;
        end();
    }
}

output_watch::duty track_run::duty_to_output()
{
    const auto now = output_watch::clock::now();
    if (owed_answer()) {
        return watch_.await(now);
    }
    return sounds() ? watch_.look(now) : output_watch::duty::none;
}

/// What was loaded in a pause waits for its user, and so does what was paused.
bool track_run::owed_answer() const
{
    switch (phase_) {
    case phase::loading:
        return status_ != qz_audio_status_loaded;
    case phase::starting:
    case phase::ending:
        return true;
    case phase::playing:
        return asked_;
    case phase::over:
        return false;
    }
    return false;
}

/// An output that is gone takes everything at once. A repeated or long track does not end soon. After a
/// stop from outside the clock is not exact enough.
bool track_run::rushed() const
{
    return rushed_ || (watched_ && complete_ && track_.size && !was_stopped_ &&
                       output_watch::is_too_soon(clock_.elapsed(), track_.size->length));
}

/// The code may be either library's: what the player was doing tells whose.
bool track_run::is_of_output(int code) const
{
    const bool output_is_gone = status_ == qz_audio_status_none;
    return output_is_gone && (code == 0 || phase_ == phase::starting || !output_was_open_);
}

/// Libout123 blames its driver also where the server is gone, so that its words would lead astray.
std::string track_run::describe(int code) const
{
    if (phase_ == phase::playing) {
        return "the sound breaks off, since the rest of the file is damaged or of another format; "
               "make or fetch it anew.";
    }
    if (is_of_output(code)) {
        return "the sound output cannot be started for this file; "
               "see whether the sound server still runs and the device is free.";
    }
    return std::string("this file cannot be decoded (") + mpg123_plain_strerror(code) +
           "); make or fetch it anew.";
}
