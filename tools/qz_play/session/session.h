/// \file
/// \brief The whole run of the program: every track in its turn.
#pragma once

#include "options.h"
#include "output/wav_output.h"
#include "playlist/track_list.h"
#include "session/events.h"
#include "session/patience.h"
#include "session/player.h"
#include "session/snapshot.h"
#include "session/track_run.h"
#include "session/wishes.h"
#include "temp_folder.h"
#include "terminal/display.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

/// Works in one thread: takes events, drives the player, draws.
class session
{
public:
    using listener = std::function<void(const snapshot&)>;

    session(const options& chosen, track_list tracks, const temp_folder& folder,
            std::shared_ptr<event_queue> events, display& screen);

    /// Lets `changed` know of each change of what there is to tell, on the thread that runs the session.
    void on_change(listener changed) { listeners_.push_back(std::move(changed)); }

    /// Lets `before` run before the process stops, as for Ctrl-Z, and `after` when it goes on.
    void on_suspension(std::function<void()> before, std::function<void()> after)
    {
        before_stop_ = std::move(before);
        after_stop_ = std::move(after);
    }

    /// Plays the tracks and returns the exit status. Throws `startup_failure`.
    int run();

private:
    using seconds = std::chrono::duration<double>;

    void play_track();
    [[nodiscard]] bool needs_size_at_once() const;
    void provide_player(const track& next);
    void start_output(const track& next);
    void make_player();
    void leave_blocked_player();
    void finish_output();
    void play(const track& next);
    [[nodiscard]] std::string problem_of_run() const;
    bool go_on();
    [[nodiscard]] bool has_more_to_try() const;
    [[nodiscard]] bool output_is_hopeless() const;
    [[nodiscard]] int result() const;

    void wait_until(const std::function<bool()>& reached);
    bool wait_patiently_until(const std::function<bool()>& reached);
    void take_waiting_events();
    bool take_event(event_queue::clock::time_point deadline);
    [[nodiscard]] event_queue::clock::time_point next_duty() const;
    void draw();

    [[nodiscard]] snapshot look() const;
    [[nodiscard]] play_state shown_state() const;
    [[nodiscard]] bool runs_current_track() const;
    void publish();

    void leave_track(seconds fade);
    void leave();
    void rest(seconds fade);
    void end_rest();
    [[nodiscard]] seconds smooth_fade() const;
    void set_volume(int volume);
    void sound_as_wanted();
    void set_loop(loop_mode mode);
    bool accepts(const std::string& path);
    [[nodiscard]] bool rests() const { return wanted_.state() == play_state::stopped; }
    [[nodiscard]] bool repeats() const { return wanted_.loop() == loop_mode::track; }

    void on(const status_changed& change);
    void on(const error_reported& error);
    void on(const volume_changed& change);
    void on(const stop_completed& completion);
    void on(const track_measured& measured);
    void on(const end_requested& signal);
    void on(const suspend_requested& signal);
    void on(const continued& signal);
    void on(const screen_changed& signal);
    void on(const user_request& wanted);

    void suspend_when_silent();
    void go_on_after_suspension();
    [[nodiscard]] bool sounds() const { return run_ && run_->sounds(); }

    void on(const request::play& wanted);
    void on(const request::pause& wanted);
    void on(const request::toggle_pause& wanted);
    void on(const request::stop& wanted);
    void on(const request::fade_out& wanted);
    void on(const request::next& wanted);
    void on(const request::previous& wanted);
    void on(const request::set_volume& wanted);
    void on(const request::change_volume& wanted);
    void on(const request::toggle_mute& wanted);
    void on(const request::set_loop& wanted);
    void on(const request::cycle_loop& wanted);
    void on(const request::set_shuffle& wanted);
    void on(const request::open& wanted);
    void on(const request::show_info& wanted);
    void on(const request::show_help& wanted);
    void on(const request::quit& wanted);

    const options& options_;
    const temp_folder& folder_;
    std::shared_ptr<event_queue> events_;
    display& display_;
    std::vector<listener> listeners_;
    std::function<void()> before_stop_ = [] {};
    std::function<void()> after_stop_ = [] {};
    std::optional<event_queue::clock::time_point> stop_due_; ///< Of the process, at the latest.
    snapshot told_;

    track_list tracks_;
    std::optional<wav_output> wav_;
    std::optional<player> player_;
    std::optional<track_run> run_;
    std::size_t run_number_ = 0; ///< Of the track that runs.

    qz_audio_status status_ = qz_audio_status_none;
    wishes wanted_;
    bool moved_ = false; ///< The list stands at what the user wants, not at what plays.
    std::optional<int> open_error_;
    std::optional<patience> patience_; ///< With an output that opens or closes.
    bool output_started_ = false;
    int output_trouble_ = 0; ///< On the last tracks in a row.
    bool leaving_ = false;
    bool abandons_ = false; ///< Waits for nothing any more.
    bool ended_by_signal_ = false;
    bool measures_ = false; ///< The track that runs, in the background.
    bool heard_ = false;
    std::size_t failed_ = 0;
    std::size_t failed_in_a_row_ = 0;
};
