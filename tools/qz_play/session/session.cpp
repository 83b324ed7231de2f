#include "session/session.h"

#include "exit_status.h"
#include "failures.h"
#include "session/measuring.h"

#include <algorithm>
#include <utility>

namespace
{

using namespace std::chrono_literals;
using seconds = std::chrono::duration<double>;

constexpr seconds redraw_period = 200ms;

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
        measures_ = true;
        measure_in_background(next.path, events_);
    }
    wait_until([this] { return run_->over(); });
    if (run_->complete()) { // and may have been so before its length was known
        wait_patiently_until([this] { return !measures_; });
    }
    measures_ = false;
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
        return played.path + ": the WAV file is not complete; see whether the disk is full.";
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
    using clock = event_queue::clock;
    const auto in = [now = clock::now()](seconds wait) {
        return now + std::chrono::ceil<clock::duration>(wait);
    };
    clock::time_point due = stop_due_.value_or(clock::time_point::max());
    if (patience_) {
        due = std::min(due, in(patience::period));
    }
    if (sounds() && display_.has_live_line()) {
        due = std::min(due, in(redraw_period));
    }
    if (const auto wait = run_ ? run_->next_duty() : std::nullopt) {
        due = std::min(due, in(*wait));
    }
    return due;
}
