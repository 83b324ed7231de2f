#include "track_run.h"

#include <mpg123.h>
#include <out123.h>

#include <algorithm>
#include <cmath>
#include <utility>

track_run::track_run(player& audio, track played, const options& chosen, qz_audio_status status)
    : player_(audio), options_(chosen), track_(std::move(played)), curve_(options_, track_),
      status_(status), output_was_open_(status != qz_audio_status_none)
{
    player_.load(track_.path);
}

void track_run::on(const status_changed& change)
{
    status_ = change.status;
    output_was_open_ = output_was_open_ || status_ != qz_audio_status_none;
    if (status_ == qz_audio_status_loaded && phase_ == phase::loading) {
        start();
    }
    if (status_ == qz_audio_status_playing && phase_ == phase::starting) {
        phase_ = phase::playing;
    }
    if (status_ == qz_audio_status_playing) {
        clock_.start();
    } else {
        clock_.stop();
    }
    if (status_ == qz_audio_status_stopped && phase_ == phase::playing) {
        complete_ = true;
        end();
    }
}

void track_run::on(const error_reported& error)
{
    if (problem_.empty() && phase_ < phase::ending) {
        problem_ = track_.path + ": " + describe(error.code);
        end();
    }
}

void track_run::on(const stop_completed&)
{
    phase_ = phase::over;
}

void track_run::cancel()
{
    if (phase_ < phase::ending) {
        end();
    }
}

void track_run::learn_size(const std::optional<track::extent>& size)
{
    track_.size = size;
    curve_ = volume_curve(options_, track_);
}

void track_run::follow_clock()
{
    if (phase_ != phase::playing) {
        return;
    }
    const int due = curve_.volume_at(position());
    if (due != volume_) {
        volume_ = due;
        player_.set_volume(due);
    }
}

std::optional<track_run::seconds> track_run::next_volume_change() const
{
    return clock_.running() ? curve_.steady_for(position()) : std::nullopt;
}

track_run::seconds track_run::position() const
{
    const seconds elapsed = clock_.elapsed();
    if (!track_.size) {
        return elapsed;
    }
    const seconds length = track_.size->length;
    return options_.repeat ? seconds(std::fmod(elapsed.count(), length.count()))
                           : std::min(elapsed, length);
}

/// The volume is set in any case: the track before may have left another.
void track_run::start()
{
    phase_ = phase::starting;
    volume_ = curve_.volume_at(seconds::zero());
    player_.set_volume(volume_);
    player_.play();
}

void track_run::end()
{
    phase_ = phase::ending;
    player_.stop();
}

/// The code may be either library's: what the player was doing tells whose.
std::string track_run::describe(int code) const
{
    if (phase_ == phase::playing) {
        return "the sound breaks off; the rest of the file is damaged or of another format.";
    }
    const bool output_is_gone = status_ == qz_audio_status_none;
    if (output_is_gone && code == 0) {
        return "the sound output cannot be started for this file.";
    }
    if (output_is_gone && (phase_ == phase::starting || !output_was_open_)) {
        return std::string("the sound output cannot be used: ") + out123_plain_strerror(code) + ".";
    }
    return std::string("this file cannot be decoded: ") + mpg123_plain_strerror(code);
}
