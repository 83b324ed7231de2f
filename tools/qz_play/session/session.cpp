#include "session/session.h"

#include "exit_status.h"
#include "failures.h"
#include "output/output_modules.h"
#include "session/measuring.h"
#include "session/signals.h"

#include <mpg123.h>
#include <out123.h>

#include <algorithm>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

constexpr seconds redraw_period = 200ms;

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

session::session(const options& chosen, track_list tracks, const temp_folder& folder,
                 std::shared_ptr<event_queue> events, display& screen)
    : options_(chosen), folder_(folder), events_(std::move(events)), display_(screen),
      tracks_(std::move(tracks)), wanted_(chosen.volume)
{
    if (chosen.repeat) {
        set_loop(loop_mode::track);
    } else if (chosen.loop) {
        set_loop(loop_mode::list);
    }
}

int session::run()
{
    do {
        play_track();
        take_waiting_events();
    } while (go_on());
    finish_output();
    return result();
}

void session::play_track()
try {
    track next = inspect_track(tracks_.current());
    if (needs_size_at_once()) {
        next.size = measure_track(next.path);
    }
    provide_player(next);
    if (!leaving_ && !moved_) {
        play(next);
    }
} catch (const track_failure& failure) {
    display_.error(failure.what());
    ++failed_;
    ++failed_in_a_row_;
}

/// A fade-in must not falter while the file is read through, a fade-out may have to begin with the track, and
/// sound into a file is soon over. Any other track sounds first.
bool session::needs_size_at_once() const
{
    return options_.wav || options_.fade_in + options_.fade_out > seconds::zero();
}

/// The output is opened for its own sake only at first; a later player opens it with its track.
void session::provide_player(const track& next)
{
    if (!std::exchange(output_started_, true)) {
        start_output(next);
    } else if (!player_) {
        make_player();
    }
}

void session::make_player()
{
    player_.emplace(events_);
    player_->set_repeat(repeats());
}

/// It may never end, and is not waited for. What it has told before does not concern the next one.
void session::leave_blocked_player()
{
    output_trouble_ += 2;
    player_->forget();
    player_.reset();
    take_waiting_events();
    status_ = qz_audio_status_none;
}

/// Only now, with something to play: a wrong name is told on a machine without sound, too.
void session::start_output(const track& next)
{
    choose_output_modules(options_, folder_);
    if (options_.wav) {
        wav_.emplace();
    }
    if (options_.bin_path) {
        qz_audio_set_bin_path(*options_.bin_path);
    }
    make_player();
    player_->open();
    const bool opens = wait_patiently_until(
        [this] { return status_ == qz_audio_status_opened || open_error_ || leaving_; });
    if (!opens) {
        leave_blocked_player();
        throw track_failure(next.path + output_hangs);
    }
    if (open_error_) {
        throw startup_failure(std::string("the sound output cannot be opened (") +
                              out123_plain_strerror(*open_error_) +
                              "); use --wav FILE to write the sound into a file.");
    }
}

void session::finish_output()
{
    player_.reset();
    wait_patiently_until([this] { return status_ == qz_audio_status_none; });
}

void session::play(const track& next)
{
    if (wav_) {
        wav_->begin(wav_file_of_track(*options_.wav, tracks_.number(), tracks_.size()), next.path);
    }
    run_number_ = tracks_.number();
    run_.emplace(*player_, next, options_, track_run::manner{wanted_.sounding_volume(), repeats()},
                 status_);
    if (wanted_.state() == play_state::paused) {
        run_->pause(seconds::zero());
    }
    wait_until([this] { return run_->begun(); });
    if (run_->sounds() && !needs_size_at_once()) {
        measure_in_background(next.path, events_);
    }
    wait_until([this] { return run_->over(); });
    const std::string problem = problem_of_run();
    const bool blocked = run_->blocked() || abandons_;
    output_trouble_ += run_->output_failed() ? 1 : 0;
    run_.reset();
    if (blocked) {
        leave_blocked_player();
    }
    if (!problem.empty()) {
        throw track_failure(problem);
    }
    failed_in_a_row_ = 0;
    output_trouble_ = 0;
}

/// The library does not tell that an output takes no more, as on a full disk; a file's size does.
std::string session::problem_of_run() const
{
    const track& played = run_->played();
    if (wav_ && run_->complete() && played.size && !wav_->holds(played.size->bytes)) {
        return played.path + ": the WAV file is not complete; the disk may be full.";
    }
    if (run_->rushed()) {
        return played.path + ": the sound output takes the sound faster than it can be heard; "
                             "see whether the sound server still runs.";
    }
    return run_->problem();
}

/// Turns to the track that is to be played next; returns whether there is one.
bool session::go_on()
{
    if (!moved_ && !leaving_) {
        leaving_ = !has_more_to_try();
        if (tracks_.has_next() && output_is_hopeless()) {
            display_.error("the sound output fails for track after track; "
                           "the rest of the list is left out.");
        }
        if (!leaving_) {
            tracks_.go_to_next();
        }
    }
    wait_until([this] { return !rests() || leaving_; });
    moved_ = false;
    return !leaving_;
}

bool session::has_more_to_try() const
{
    return tracks_.has_next() && failed_in_a_row_ < tracks_.size() && !output_is_hopeless();
}

/// Three tracks that fail are enough, and two of those that take long to fail since the output is blocked.
bool session::output_is_hopeless() const
{
    constexpr int most_trouble = 3;
    return output_trouble_ >= most_trouble;
}

int session::result() const
{
    if (ended_by_signal_) {
        return exit_by_signal;
    }
    if (failed_ == 0) {
        return exit_all_played;
    }
    return heard_ ? exit_some_failed : exit_none_played;
}

void session::wait_until(const std::function<bool()>& reached)
{
    while (!reached() && !abandons_) {
        publish();
        draw();
        take_event(next_duty());
        if (run_) {
            run_->follow_clock();
        }
        suspend_when_silent();
    }
}

/// Gives up where an output takes too long; returns whether it was reached. A pipe for the sound may wait
/// for its reader as long as that likes.
bool session::wait_patiently_until(const std::function<bool()>& reached)
{
    if (!wav_) {
        patience_.emplace();
    }
    wait_until(
        [&] { return reached() || (patience_ && patience_->is_over(patience::clock::now())); });
    patience_.reset();
    return reached();
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
    const auto never = event_queue::clock::time_point::max();
    std::optional<seconds> wait = run_ ? run_->next_duty() : std::nullopt;
    if (patience_) {
        wait = patience::period;
    }
    if (sounds() && display_.has_live_line()) {
        wait = std::min(wait.value_or(redraw_period), redraw_period);
    }
    using duration = event_queue::clock::duration;
    const auto due = wait ? event_queue::clock::now() + std::chrono::ceil<duration>(*wait) : never;
    return std::min(due, stop_due_.value_or(never));
}

snapshot session::look() const
{
    snapshot now;
    now.state = heard_ ? shown_state() : play_state::stopped;
    now.path = tracks_.current();
    now.number = tracks_.number();
    now.track_count = tracks_.size();
    now.volume = wanted_.volume();
    now.muted = wanted_.muted();
    now.loop = wanted_.loop();
    now.shuffle = tracks_.shuffled();
    now.can_next = tracks_.has_next();
    now.can_previous = tracks_.has_previous();
    now.taken = snapshot::clock::now();
    if (runs_current_track()) {
        now.sounds = run_->sounds();
        now.position = run_->position();
        now.title = run_->played().told.title;
        now.artist = run_->played().told.artist;
        now.album = run_->played().told.album;
        if (run_->played().size) {
            now.length = run_->played().size->length;
        }
    }
    return now;
}

/// A track that falls to silence plays until that is reached. Whoever quits need not wait to see it.
play_state session::shown_state() const
{
    if (leaving_) {
        return play_state::stopped;
    }
    return rests() && runs_current_track() && run_->sounds() ? play_state::playing
                                                             : wanted_.state();
}

bool session::runs_current_track() const
{
    return run_ && run_number_ == tracks_.number();
}

void session::publish()
{
    const snapshot now = look();
    if (!tell_the_same(now, told_)) {
        told_ = now;
        for (const listener& changed : listeners_) {
            changed(now);
        }
    }
}

void session::draw()
{
    if (run_ || rests() || leaving_) {
        display_.live(told_);
    }
}

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
