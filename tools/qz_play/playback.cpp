#include "playback.h"

#include <out123.h>

#include <array>
#include <utility>

namespace
{

using namespace std::chrono_literals;

/// For an output to open or close.
constexpr auto timeout = 10s;

/// Indexed by `qz_audio_status`.
constexpr std::array status_words{"closed", "opened", "loaded", "playing", "paused", "stopped"};

constexpr auto giving_up = "the sound output keeps failing; giving up";

} // namespace

playback::playback(event_loop& loop, worker& files, const options& opts, output_choice output,
                   std::shared_ptr<const wav_export> wav, playlist tracks, std::size_t failed,
                   listener events)
    : loop_(loop), worker_(files), options_(opts), output_(std::move(output)), wav_(std::move(wav)),
      events_(std::move(events)), timeout_(loop, [this] { on_timeout(); }),
      suspend_timeout_(loop, [this] { complete_suspend(); }),
      search_timeout_(loop,
                      [this] {
                          cancel_search("the disk does not respond");
                          update();
                      }),
      tracks_(std::move(tracks)), failed_count_(failed)
{
    desired_.volume = opts.volume;
    desired_.loop = opts.loop;
    tracks_.set_loop(opts.loop == loop_mode::list);
}

/// Called after each event and each command.
void playback::update()
{
    step();
    scan_if_needed();
    if (wav_ != nullptr || !is_advancing()) {
        complete_suspend();
    }
    if (state_ != state::closed) {
        events_.changed();
    }
}

/// Takes a step towards the desired state, if that is possible now.
void playback::step()
{
    inspect_if_needed();
    switch (state_) {
    case state::idle:
        if (desired_.end_requested) {
            close_output();
        } else if (candidate_ && candidate_->result && wants(candidate_->selection) &&
                   !pending_open_) {
            take_candidate();
        }
        break;
    case state::playing:
        if (track_->is_over()) {
            finish_track();
        }
        break;
    default:
        break;
    }
}

/// Inspects the selected track while the previous one fades out. Sound for a WAV file waits until the previous file
/// is complete.
void playback::inspect_if_needed()
{
    const bool is_wanted = wants(desired_.selection) && !pending_open_;
    if (candidate_ &&
        (candidate_->selection != desired_.selection || (!candidate_->result && !is_wanted))) {
        candidate_.reset();
    }
    const bool is_taken =
        selection_ == desired_.selection && (track_ != nullptr || state_ == state::opening);
    const bool must_wait = wav_ != nullptr && state_ != state::idle;
    if (candidate_ || is_taken || must_wait || !is_wanted) {
        return;
    }
    const scan wanted = needs_size_at_start() ? scan::whole_file : scan::no;
    const std::string path = tracks_.current();
    const auto wav_file =
        options_.wav ? wav_file_of_track(*options_.wav, tracks_.current_index(), tracks_.size())
                     : std::filesystem::path();
    // If there is no output, nothing could write the file: an existing one must not be truncated.
    const auto wav = output_.problem.empty() ? wav_ : nullptr;
    const auto work = [path, wanted, wav, wav_file](const cancel_flag& cancelled) {
        inspection_result result{inspect(path, wanted, cancelled), ""};
        if (wav != nullptr && result.info.problem.empty() && !cancelled.is_set()) {
            result.wav_problem = wav->begin(wav_file, cancelled);
        }
        return result;
    };
    const auto done = [this](const inspection_result& result) {
        candidate_->result = result;
        update();
    };
    candidate_.emplace(candidate{desired_.selection, path, std::nullopt, worker_.run(work, done)});
}

void playback::take_candidate()
{
    selection_ = candidate_->selection;
    path_ = candidate_->path;
    info_ = candidate_->result->info;
    const std::string wav_problem = candidate_->result->wav_problem;
    candidate_.reset();
    if (!info_.problem.empty()) {
        fail_track(path_ + ": " + info_.problem);
    } else if (!wav_problem.empty() && !has_played_) {
        fail_startup(wav_problem);
    } else if (!wav_problem.empty()) {
        fail_track(wav_problem);
    } else if (!output_was_opened_) {
        open_output();
    } else {
        start_track();
    }
}

/// Called when there is a track to play, so that a wrong name is reported even on a machine without sound.
void playback::open_output()
{
    if (!output_.problem.empty()) {
        fail_startup(output_.problem);
        return;
    }
    state_ = state::opening;
    output_was_opened_ = true;
    make_player();
    player_->open();
    set_timeout();
}

void playback::make_player()
{
    player_.emplace(
        loop_, player::listener{
                   [this](qz_audio_status status) { on_status(status); },
                   [this](int code) { on_failure(code); },
                   [this](int volume) { forward_to_track(&track_playback::on_volume, volume); },
                   [this] { forward_to_track(&track_playback::on_stop_completed); }});
    player_->set_repeat(desired_.loop == loop_mode::track);
}

void playback::start_track()
{
    if (!player_) {
        make_player();
    }
    state_ = state::playing;
    scan_state_ = scan_state::none;
    track_playback::settings initial;
    initial.fade_in = options_.fade_in;
    initial.fade_out = options_.fade_out;
    initial.volume = effective_volume();
    initial.repeats = desired_.loop == loop_mode::track;
    initial.is_device = wav_ == nullptr;
    initial.is_regular_file = info_.is_regular;
    initial.dropped_by_pause = output_.dropped_by_pause;
    track_ = std::make_shared<track_playback>(loop_, *player_, path_, info_, initial, status_,
                                              [this] { update(); });
    apply_desired(seconds::zero());
}

/// A track that fades was measured before it started: reading the file must not disturb the fade-in.
void playback::scan_if_needed()
{
    if (!is_advancing() || !wants(selection_) || scan_state_ != scan_state::none || pending_open_ ||
        !info_.is_regular || needs_size_at_start()) {
        return;
    }
    scan_state_ = scan_state::running;
    const auto work = [path = path_](const cancel_flag& cancelled) {
        return measure(path, cancelled);
    };
    scan_ = worker_.run(work, [this](const std::optional<decoded_size>& size) {
        scan_state_ = scan_state::done;
        track_->set_size(size);
        update();
    });
}

void playback::cancel_scan()
{
    if (scan_state_ == scan_state::running) {
        scan_state_ = scan_state::none;
        scan_.cancel();
    }
}

void playback::finish_track()
{
    cancel_scan();
    pipe_opening_.cancel();
    state_ = state::idle;
    const auto finished = std::exchange(track_, nullptr);
    loop_.tasks()->post(
        [finished] {}); // destroys it later: this function may be called by the track
    const std::string problem = problem_of(*finished);
    count_result(*finished, problem);
    if (finished->is_cancelled() || !wants(selection_)) {
        // the user has selected the next track
    } else if (problem.empty() && desired_.loop == loop_mode::track && info_.is_regular) {
        ++desired_.selection; // the repeat was switched on too late for the library
    } else {
        select_next_or_end();
    }
    step();
}

void playback::count_result(track_playback& finished, const std::string& problem)
{
    using failure = track_playback::failure;
    if (finished.result() == failure::output) {
        ++output_failures_;
    } else if (finished.result() == failure::hang) {
        output_failures_ += problem.empty() ? 0 : blocked_output_weight;
        abandon_player();
    }
    if (!problem.empty()) {
        events_.failed(problem);
        ++failed_count_;
        ++consecutive_failures_;
    } else {
        consecutive_failures_ = 0;
        output_failures_ = 0;
    }
}

/// The library does not report a failed write, for example on a full disk. The size of the file shows it.
std::string playback::problem_of(track_playback& finished) const
{
    const bool is_cut = wav_ != nullptr && finished.is_complete() && finished.size() &&
                        !wav_->holds(finished.size()->bytes);
    const std::string reason =
        is_cut ? "the WAV file is incomplete: disk full, file too large, or pipe closed"
               : finished.problem();
    return reason.empty() ? "" : finished.path() + ": " + reason;
}

/// Called at the end of the current track.
void playback::select_next_or_end()
{
    const bool all_fail = consecutive_failures_ >= tracks_.size();
    if (tracks_.has_next() && !all_fail && !output_keeps_failing()) {
        tracks_.go_to_next();
        ++desired_.selection;
        return;
    }
    if (tracks_.has_next() && output_keeps_failing()) {
        events_.failed(giving_up);
    }
    desired_.end_requested = true;
}

void playback::fail_track(const std::string& problem)
{
    events_.failed(problem);
    ++failed_count_;
    ++consecutive_failures_;
    if (wants(selection_)) {
        select_next_or_end();
    }
    step();
}

void playback::fail_startup(const std::string& problem)
{
    events_.failed(problem);
    exit_status_ = exit_not_started;
    desired_.end_requested = true;
    step();
}

/// Does not wait for the player: it may block forever.
void playback::abandon_player()
{
    player_->disconnect();
    player_.reset();
    status_ = qz_audio_status_none;
}

void playback::close_output()
{
    state_ = state::closing;
    if (!player_ || status_ == qz_audio_status_none) {
        end();
        return;
    }
    player_.reset();
    set_timeout();
}

void playback::end()
{
    if (state_ != state::closed) {
        state_ = state::closed;
        events_.ended(final_exit_status());
    }
}

/// A WAV file may be a pipe, whose reader may be slow: there is no timeout then.
void playback::set_timeout()
{
    if (wav_ == nullptr) {
        timeout_.set(event_loop::clock::now() + timeout);
    }
}

void playback::on_timeout()
{
    switch (state_) {
    case state::opening:
        state_ = state::idle;
        output_failures_ += blocked_output_weight;
        abandon_player();
        if (!desired_.end_requested) {
            fail_track(path_ + ": the sound output does not respond");
        }
        break;
    case state::closing:
        end();
        return;
    default:
        break;
    }
    update();
}

void playback::on_status(qz_audio_status status)
{
    status_ = status;
    has_played_ = has_played_ || status == qz_audio_status_playing;
    const bool is_of_track =
        track_ && status != qz_audio_status_none && status != qz_audio_status_opened;
    events_.reported((is_of_track ? track_->path() : "sound output") + ": " +
                     status_words.at(static_cast<std::size_t>(status)));
    if (track_) {
        track_->on_status(status);
        if (status == qz_audio_status_playing && !info_.is_regular) {
            watch_pipe();
        }
    } else if (state_ == state::opening && status == qz_audio_status_opened) {
        timeout_.cancel();
        state_ = state::idle;
        if (wants(selection_)) {
            start_track();
        }
    } else if (state_ == state::closing && status == qz_audio_status_none) {
        end();
        return;
    }
    update();
}

void playback::on_failure(int code)
{
    if (track_) {
        track_->on_failure(code);
    } else if (state_ == state::opening) {
        timeout_.cancel();
        state_ = state::idle;
        fail_startup(std::string("the sound output cannot be opened (") +
                     out123_plain_strerror(code) +
                     "); use --wav FILE to write the sound to a file");
    }
    update();
}

template <class... Values>
void playback::forward_to_track(void (track_playback::*event)(Values...), Values... values)
{
    if (track_) {
        (*track_.*event)(values...);
    }
    update();
}

/// Called after the player has opened the pipe. If this reader came first, the writer could finish before the
/// player opens the pipe, and the player would wait for another writer.
void playback::watch_pipe()
{
    const auto work = [path = path_](const cancel_flag&) {
        return std::make_shared<const pipe_end>(path);
    };
    pipe_opening_ = worker_.run(work, [this](const std::shared_ptr<const pipe_end>& pipe) {
        if (track_) {
            track_->set_pipe(pipe);
        }
    });
}
