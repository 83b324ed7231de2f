/// \file
/// \brief Plays the tracks of the list, and carries out the user's commands.
#pragma once

#include "commands.h"
#include "event_loop.h"
#include "media_info.h"
#include "options.h"
#include "output_probe.h"
#include "player.h"
#include "playlist.h"
#include "snapshot.h"
#include "track_finder.h"
#include "track_playback.h"
#include "wav_export.h"
#include "worker.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

/// A state machine. Commands change the desired state; events of the player and the worker change the actual state;
/// `step` takes the next step from the actual to the desired one. No function blocks.
class playback
{
public:
    struct listener {
        std::function<void()> changed; ///< The snapshot may have changed.
        std::function<void(const std::string& text)> failed;
        std::function<void(const std::string& text)>
            reported;                                         ///< An event to print with --verbose.
        std::function<void(const std::string& text)> refused; ///< Why a command has no effect.
        std::function<void(int exit_status)> ended;
    };

    /// `wav` is null if the sound goes to a device. The references must stay valid. `failed` is the number of names
    /// for which no track was found.
    playback(event_loop& loop, worker& files, const options& opts, output_choice output,
             std::shared_ptr<const wav_export> wav, playlist tracks, std::size_t failed,
             listener events);

    void start() { update(); }

    void perform(const command::play&) { set_state(play_state::playing, smooth_fade()); }
    void perform(const command::pause&);
    void perform(const command::toggle_pause&)
    {
        desired_.state == play_state::playing ? perform(command::pause{})
                                              : perform(command::play{});
    }
    void perform(const command::stop&) { set_state(play_state::stopped, smooth_fade()); }
    void perform(const command::fade_out&);
    void perform(const command::next&);
    void perform(const command::previous&);
    void perform(const command::jump& wanted);
    void perform(const command::seek&) { events_.refused("the library cannot seek"); }
    void perform(const command::set_volume& wanted) { set_volume(wanted.percent, false); }
    void perform(const command::change_volume& wanted)
    {
        perform(command::set_volume{desired_.volume + wanted.by});
    }
    void perform(const command::toggle_mute&) { set_volume(desired_.volume, !desired_.muted); }
    void perform(const command::set_loop& wanted);
    void perform(const command::cycle_loop&);
    void perform(const command::set_shuffle& wanted);
    void perform(const command::open& wanted);

    /// The second call ends playback at once, even if an output or a pipe blocks.
    void perform(const command::quit&);

    /// Ends with the exit status of a signal.
    void end_by_signal();

    /// Pauses. Calls `then` when the output is silent, at the latest after a second.
    void suspend(std::function<void()> then);

    /// Undoes `suspend`.
    void resume();

    /// Call this when the process continues after a stop.
    void on_continued();

    [[nodiscard]] snapshot take_snapshot();
    [[nodiscard]] const playlist& tracks() const { return tracks_; }

    /// Returns whether there is something to show: nothing before the first track starts.
    [[nodiscard]] bool has_begun() const
    {
        return has_played_ || track_ || desired_.end_requested ||
               desired_.state == play_state::stopped;
    }

private:
    using seconds = std::chrono::duration<double>;

    /// Hides the click between sound and silence.
    static constexpr seconds click_fade{0.12};

    /// Playback ends after three tracks in a row whose output fails, or two whose output is blocked.
    static constexpr int max_output_failures = 3;
    static constexpr int blocked_output_weight = 2;

    enum class state { idle, opening, playing, closing, closed };

    /// What the user wants, independent of the actual state. The selected track and the order are in the playlist.
    struct desired_state {
        play_state state = play_state::playing;
        int volume = 100;
        bool muted = false;
        loop_mode loop = loop_mode::none;
        unsigned selection = 1; ///< Increases each time a track is selected.
        bool end_requested = false;
    };

    enum class scan_state { none, running, done };

    struct inspection_result {
        media_info info;
        std::string wav_problem; ///< Why the WAV file cannot be written.
    };

    /// The selected track before it plays.
    struct candidate {
        unsigned selection = 0;
        std::string path;
        std::optional<inspection_result> result; ///< Set when the inspection is done.
        job inspection;
    };

    void update();
    void step();
    void inspect_if_needed();
    void take_candidate();
    void open_output();
    void make_player();
    void start_track();
    void scan_if_needed();
    void finish_track();
    void cancel_scan();
    void count_result(track_playback& finished, const std::string& problem);
    [[nodiscard]] std::string problem_of(track_playback& finished) const;
    void select_next_or_end();
    void fail_track(const std::string& problem);
    void fail_startup(const std::string& problem);
    void abandon_player();
    void close_output();
    void end();
    void set_timeout();
    void on_timeout();
    void on_status(qz_audio_status status);
    void on_failure(int code);
    template <class... Values>
    void forward_to_track(void (track_playback::*event)(Values...), Values... values);
    void watch_pipe();

    void quit();
    void select_current();
    void set_state(play_state wanted, seconds fade);
    void set_volume(int percent, bool muted);
    void apply_desired(seconds fade);
    void cancel_search(const std::string& reason);
    void on_found(const search_result& result);
    void complete_suspend();
    [[nodiscard]] bool wants(unsigned selection) const
    {
        return !desired_.end_requested && desired_.state != play_state::stopped &&
               selection == desired_.selection;
    }
    [[nodiscard]] const media_info* known_info() const;
    [[nodiscard]] bool is_advancing() const { return track_ && track_->is_advancing(); }
    [[nodiscard]] bool output_keeps_failing() const
    {
        return output_failures_ >= max_output_failures;
    }
    [[nodiscard]] bool needs_size_at_start() const;
    [[nodiscard]] seconds smooth_fade() const
    {
        return options_.smooth && wav_ == nullptr ? click_fade : seconds::zero();
    }
    [[nodiscard]] int effective_volume() const { return desired_.muted ? 0 : desired_.volume; }
    [[nodiscard]] play_state visible_state() const;
    [[nodiscard]] int final_exit_status() const;

    event_loop& loop_;
    worker& worker_;
    const options& options_;
    const output_choice output_;
    const std::shared_ptr<const wav_export> wav_; ///< Shared with an abandoned worker thread.
    const listener events_;
    timer timeout_;
    timer suspend_timeout_;
    timer search_timeout_;

    desired_state desired_;
    playlist tracks_;
    state state_ = state::idle;
    std::optional<candidate> candidate_;
    unsigned selection_ = 0; ///< Of the track that plays, or was played last.
    std::string path_;       ///< Of the same track.
    media_info info_;
    std::optional<player> player_;
    qz_audio_status status_ = qz_audio_status_none;
    std::shared_ptr<track_playback> track_;
    job scan_;
    scan_state scan_state_ = scan_state::none;
    std::optional<command::open>
        pending_open_; ///< The request of another program, while its file is searched for.
    job search_;       ///< For that.
    job pipe_opening_;
    std::function<void()> on_suspended_; ///< Called when the output is silent.

    std::optional<int> exit_status_;
    std::size_t failed_count_;
    std::size_t consecutive_failures_ = 0;
    int output_failures_ = 0; ///< Of consecutive tracks; a blocked output counts more.
    bool output_was_opened_ = false;
    bool has_played_ = false;
    bool is_suspended_ = false;
};
