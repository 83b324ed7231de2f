/// \file
/// \brief Plays one track, from its loading to its end.
#pragma once

#include "event_loop.h"
#include "fade.h"
#include "media_info.h"
#include "output_watchdog.h"
#include "player.h"
#include "stopwatch.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

/// A state machine, driven by the player's events, the user's commands and one timer.
///
/// The library reports the end of a track in the same way as a stop, and some failures twice. So each track ends
/// with its own stop: all events before the completion of this stop belong to this track.
///
/// A second play request would stop a track that plays, so a play is never repeated. A pause or a volume may get lost
/// in a track's last block, so it is repeated until the player reports it.
class track_playback
{
public:
    using clock = event_loop::clock;
    using seconds = std::chrono::duration<double>;

    enum class state { loading, loaded, starting, playing, pausing, paused, stopping, over };
    enum class failure { none, track, output, hang };

    struct settings {
        seconds fade_in{0};
        seconds fade_out{0};
        int volume = 100; ///< In percent, before fades.
        bool repeats = false;
        bool is_device = true;       ///< The sound goes to a device, not into a file.
        bool is_regular_file = true; ///< The track is a regular file, not a pipe or a device.
        seconds dropped_by_pause{0}; ///< What the device has buffered and a pause discards.
    };

    /// Loads the track, and plays it unless `pause` is called before it is loaded. `status` is the player's current
    /// status. `changed` is called after each change that the timer causes.
    track_playback(event_loop& loop, player& audio, std::string path, const media_info& info,
                   const settings& initial, qz_audio_status status, std::function<void()> changed);

    void on_status(qz_audio_status status);
    void on_failure(int code);
    void on_volume(int volume);
    void on_stop_completed();

    /// Fades out within `duration`, then pauses.
    void pause(seconds duration);

    /// Plays and fades in within `duration`. Cancels a pause or a stop that still fades.
    void play(seconds duration);

    /// Fades out within `duration`, then stops. Such an end is not a failure.
    void stop(seconds duration);

    void set_volume(int percent);
    void set_repeat(bool on);

    /// Sets the reading end of the pipe that the track comes from. It shows whether a player that does not answer waits
    /// for the pipe or for the output.
    void set_pipe(std::shared_ptr<const pipe_end> pipe) { pipe_ = std::move(pipe); }

    /// Sets the exact size, which is measured while the track plays.
    void set_size(const std::optional<decoded_size>& size);

    /// Call this when the process continues after a stop.
    void on_continued();

    [[nodiscard]] bool is_over() const { return state_ == state::over; }

    /// Returns whether the user stopped the track.
    [[nodiscard]] bool is_cancelled() const { return target_ == target::stop; }

    /// Returns whether the track was played to its end.
    [[nodiscard]] bool is_complete() const { return is_complete_; }

    [[nodiscard]] bool is_advancing() const { return stopwatch_.is_running(); }
    seconds position();
    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const std::optional<decoded_size>& size() const { return size_; }

    /// Returns what went wrong. After `failure::hang` the player must be abandoned.
    [[nodiscard]] failure result();

    /// Returns the error message without the track's name. It is empty if nothing failed.
    [[nodiscard]] std::string problem();

private:
    enum class target { play, pause, stop };

    void update();
    void step();
    void start();
    void enter_playing();
    void send_pause();
    void begin_stop();
    void fade_to_silence(target wanted, seconds duration);
    void send_volume();
    void check_output();
    [[nodiscard]] int target_volume();
    [[nodiscard]] bool is_pause_lost() const;
    [[nodiscard]] bool awaits_volume() const;
    [[nodiscard]] bool may_stop(bool is_silent) const;
    [[nodiscard]] bool waits_for_pipe();
    [[nodiscard]] bool is_watched() const;
    [[nodiscard]] clock::time_point stop_deadline() const;
    [[nodiscard]] bool is_stuck() const;
    [[nodiscard]] bool waits_for_player() const;
    [[nodiscard]] clock::time_point next_deadline();
    [[nodiscard]] bool was_too_fast();
    [[nodiscard]] bool is_output_failure(int code) const;
    [[nodiscard]] std::string describe(int code) const;

    player& player_;
    const std::string path_;
    std::optional<decoded_size> size_;
    settings settings_;
    const std::function<void()> changed_;
    timer timer_;

    state state_ = state::loading;
    target target_ = target::play;
    qz_audio_status status_;
    bool output_was_open_;
    fade fade_;
    seconds resume_fade_{0};     ///< The duration of the next fade-in after a pause.
    int volume_ = 0;             ///< The volume that was sent last.
    bool volume_is_set_ = false; ///< The player has reported `volume_`.
    clock::time_point volume_sent_{};
    clock::time_point silent_at_{}; ///< When the fade before a pause or a stop ends.
    clock::time_point
        request_sent_{}; ///< When a pause or a stop was requested last, or when the process continued.
    stopwatch stopwatch_;
    output_watchdog watchdog_;
    std::shared_ptr<const pipe_end> pipe_;
    bool pipe_was_full_ = false; ///< At the last check.
    int pauses_ = 0;
    bool is_position_exact_ = true; ///< False after a stop of the process or a repeat of the track.
    bool has_played_ = false;
    bool is_complete_ = false;
    failure failure_ = failure::none;
    std::string problem_;
};
