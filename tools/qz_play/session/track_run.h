/// \file
/// \brief One track on the player, from its load to its end.
#pragma once

#include "session/events.h"
#include "session/output_watch.h"
#include "session/player.h"
#include "session/stopwatch.h"
#include "session/track.h"
#include "session/volume_curve.h"
#include "session/volume_ramp.h"

#include <optional>
#include <string>

/// Drives the player through one track and learns from its events how that went.
///
/// The library does not tell a track that ends from one that is stopped, and may report one failure
/// twice. So each run ends with a stop of its own, whose completion comes after all else that the
/// player tells of the track: what comes later belongs to the next one.
///
/// A second play halts a track that plays, so a play is asked for only where the last word was paused.
class track_run
{
public:
    using seconds = std::chrono::duration<double>;

    /// How the user wants it, at first and until it is set otherwise.
    struct manner {
        int volume; ///< In percent, where the track does not fade.
        bool repeats;
    };

    /// Loads the track. `status` is the player's at this moment.
    track_run(player& audio, track played, const options& chosen, manner wanted,
              qz_audio_status status);

    void on(const status_changed& change);
    void on(const error_reported& error);
    void on(const stop_completed& completion);
    void on(const volume_changed& change);

    /// Pauses, behind a fade that takes `fade`.
    void pause(seconds fade);

    /// Goes on after a pause, or instead of an end that is still to come; `fade` is how long the sound
    /// takes to its full volume. Returns whether the track does so.
    bool resume(seconds fade);

    /// Ends the run early, which is no failure, behind a fade that takes `fade`.
    void cancel(seconds fade);

    /// Takes the track's size, found out while it plays.
    void learn_size(const std::optional<track::extent>& size);

    void set_volume(int volume);
    void set_repeat(bool on);

    /// Does what is due by now.
    void follow_clock();

    /// Learns that the process was stopped from outside, which is the sound's end for a while.
    void take_back_stop();

    /// Returns when there is next something to do, if there will be.
    [[nodiscard]] std::optional<seconds> next_duty() const;

    /// Returns whether the track is past its first block, or will not get there.
    [[nodiscard]] bool begun() const { return phase_ >= phase::playing; }

    [[nodiscard]] bool over() const { return phase_ == phase::over; }

    /// Returns whether the track has been played from its start to its end.
    [[nodiscard]] bool complete() const { return complete_; }

    /// Returns whether the player was given up, since its output is blocked: it may never end.
    [[nodiscard]] bool blocked() const { return blocked_; }

    /// Returns whether the output took the track sooner than it sounds: it was not heard, or not to its end.
    [[nodiscard]] bool rushed() const;

    /// Returns whether it was the output that failed, other than by being blocked.
    [[nodiscard]] bool output_failed() const { return output_failed_ || rushed(); }

    /// Returns what went wrong, as a sentence; empty when nothing did.
    [[nodiscard]] const std::string& problem() const { return problem_; }

    [[nodiscard]] const track& played() const { return track_; }

    /// Returns whether the sound goes on at this moment.
    [[nodiscard]] bool sounds() const { return clock_.running(); }

    /// Returns whether a pause was asked for, and no resume since.
    [[nodiscard]] bool to_be_paused() const { return wish_ == wish::pause; }

    /// Returns how far the sound has come: into the current round, where the track repeats.
    [[nodiscard]] seconds position() const;

private:
    enum class phase { loading, starting, playing, ending, over };
    enum class wish { sound, pause, end };

    void start();
    void rise(seconds whole);
    void fall(seconds whole);
    [[nodiscard]] int due_volume() const;
    void set_due_volume();
    void pursue_wish();
    void end();
    void watch_output();
    [[nodiscard]] output_watch::duty duty_to_output();
    [[nodiscard]] bool owed_answer() const;
    [[nodiscard]] bool fading() const { return ramp_.moving(volume_ramp::clock::now()); }
    [[nodiscard]] bool is_of_output(int code) const;
    [[nodiscard]] std::string describe(int code) const;

    player& player_;
    track track_;
    manner manner_;
    const options& options_;
    volume_curve curve_;
    volume_ramp ramp_;
    seconds rise_of_resume_{0};
    stopwatch clock_;
    phase phase_ = phase::loading;
    wish wish_ = wish::sound;
    bool asked_ = false; ///< For a pause or a play that has not been told yet.
    qz_audio_status status_;
    bool output_was_open_;
    int volume_ = 0;
    output_watch watch_;
    const bool watched_;
    bool blocked_ = false;
    bool rushed_ = false;
    bool output_failed_ = false;
    bool was_stopped_ = false; ///< From outside, as far as is known.
    bool complete_ = false;
    std::string problem_;
};
