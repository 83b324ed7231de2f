#include "session.h"

#include "exit_status.h"
#include "failures.h"
#include "output_modules.h"

#include <mpg123.h>
#include <out123.h>

#include <algorithm>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

constexpr seconds redraw_period = 200ms;

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

std::string minutes_and_seconds(seconds time)
{
    const auto whole = static_cast<unsigned long>(time.count());
    const std::string rest = std::to_string(whole % 60);
    return std::to_string(whole / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

} // namespace

session::session(const options& chosen, const temp_folder& folder,
                 std::shared_ptr<event_queue> events, display& screen)
    : options_(chosen), folder_(folder), events_(std::move(events)), display_(screen),
      volume_(chosen.volume)
{
}

int session::run()
{
    for (std::size_t index = 0; index < options_.tracks.size() && !end_requested_; ++index) {
        play_track(index);
        take_waiting_events();
    }
    finish_output();
    return result();
}

void session::play_track(std::size_t index)
try {
    track next = inspect_track(options_.tracks[index]);
    if (needs_size_at_once()) {
        next.size = measure_track(next.path);
    }
    if (!player_) {
        start_output();
    }
    if (!end_requested_) {
        play(next, index);
    }
} catch (const track_failure& failure) {
    display_.error(failure.what());
    ++failed_;
}

/// A fade-in must not falter while the file is read through, a fade-out may have to begin with the track, and
/// sound into a file is soon over. Any other track sounds first.
bool session::needs_size_at_once() const
{
    return options_.wav || options_.fade_in + options_.fade_out > seconds::zero();
}

/// Only now, with something to play: a wrong name is told on a machine without sound, too.
void session::start_output()
{
    choose_output_modules(options_, folder_);
    if (options_.wav) {
        wav_.emplace();
    }
    if (options_.bin_path) {
        qz_audio_set_bin_path(*options_.bin_path);
    }
    player_.emplace(events_);
    player_->set_repeat(options_.repeat);
    player_->open();
    wait_until(
        [this] { return status_ == qz_audio_status_opened || open_error_ || end_requested_; });
    if (open_error_) {
        throw startup_failure(std::string("the sound output cannot be opened (") +
                              out123_plain_strerror(*open_error_) +
                              "); use --wav FILE to write the sound into a file.");
    }
}

void session::finish_output()
{
    player_.reset();
    wait_until([this] { return status_ == qz_audio_status_none; });
}

void session::play(const track& next, std::size_t index)
{
    if (wav_) {
        wav_->begin(wav_file_of_track(*options_.wav, index, options_.tracks.size()), next.path);
    }
    run_.emplace(*player_, next, options_, status_);
    wait_until([this] { return run_->begun(); });
    if (run_->sounds() && !needs_size_at_once()) {
        run_->learn_size(measure_track(next.path));
    }
    wait_until([this] { return run_->over(); });
    const std::string problem = problem_of_run();
    run_.reset();
    if (!problem.empty()) {
        throw track_failure(problem);
    }
}

/// The library does not tell that an output takes no more, as on a full disk; a file's size does.
std::string session::problem_of_run() const
{
    const track& played = run_->played();
    if (wav_ && run_->complete() && played.size && !wav_->holds(played.size->bytes)) {
        return played.path + ": the WAV file is not complete; the disk may be full.";
    }
    return run_->problem();
}

int session::result() const
{
    if (end_requested_) {
        return exit_by_signal;
    }
    if (failed_ == 0) {
        return exit_all_played;
    }
    return heard_ ? exit_some_failed : exit_none_played;
}

void session::wait_until(const std::function<bool()>& reached)
{
    while (!reached()) {
        draw();
        take_event(next_duty());
        if (run_) {
            run_->follow_clock();
        }
    }
}

/// Takes what has come in the meantime, without a wait.
void session::take_waiting_events()
{
    while (take_event(event_queue::clock::time_point::min())) {
    }
}

bool session::take_event(event_queue::clock::time_point deadline)
{
    const std::optional<event> next = events_->pop_until(deadline);
    if (next) {
        std::visit([this](const auto& happened) { on(happened); }, *next);
    }
    return next.has_value();
}

event_queue::clock::time_point session::next_duty() const
{
    if (!run_ || !run_->sounds()) {
        return event_queue::clock::time_point::max();
    }
    std::optional<seconds> wait = run_->next_volume_change();
    if (display_.has_live_line()) {
        wait = std::min(wait.value_or(redraw_period), redraw_period);
    }
    using duration = event_queue::clock::duration;
    return wait ? event_queue::clock::now() + std::chrono::ceil<duration>(*wait)
                : event_queue::clock::time_point::max();
}

void session::draw()
{
    display_.live(run_ && concerns_track(status_) ? live_line() : "");
}

std::string session::live_line() const
{
    const auto& size = run_->played().size;
    const std::string total = size ? " / " + minutes_and_seconds(size->length) : "";
    return std::string(word_for(status_)) + "  " + minutes_and_seconds(run_->position()) + total +
           "  volume " + std::to_string(volume_) + " %";
}

void session::on(const status_changed& change)
{
    status_ = change.status;
    heard_ = heard_ || status_ == qz_audio_status_playing;
    if (run_) {
        run_->on(change);
    }
    const bool of_track = run_ && concerns_track(status_);
    display_.line((of_track ? run_->played().path : "sound output") + ": " + word_for(status_));
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
    volume_ = change.volume;
}

void session::on(const stop_completed& completion)
{
    run_->on(completion);
}

void session::on(const end_requested&)
{
    end_requested_ = true;
    if (run_) {
        run_->cancel();
    }
}
