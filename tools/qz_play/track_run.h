/// \file
/// \brief One track on the player, from its load to its end.
#pragma once

#include "events.h"
#include "player.h"
#include "stopwatch.h"
#include "track.h"
#include "volume_curve.h"

#include <optional>
#include <string>

/// Drives the player through one track and learns from its events how that went.
///
/// The library does not tell a track that ends from one that is stopped, and may report one failure
/// twice. So each run ends with a stop of its own, whose completion comes after all else that the
/// player tells of the track: what comes later belongs to the next one.
class track_run
{
public:
    using seconds = std::chrono::duration<double>;

    /// Loads the track. `status` is the player's at this moment.
    track_run(player& audio, track played, const options& chosen, qz_audio_status status);

    void on(const status_changed& change);
    void on(const error_reported& error);
    void on(const stop_completed& completion);

    /// Ends the run early, which is no failure.
    void cancel();

    /// Takes the track's size, found out while it plays.
    void learn_size(const std::optional<track::extent>& size);

    /// Sets the volume that is due by now.
    void follow_clock();

    /// Returns when the volume has to change next, if it has to.
    [[nodiscard]] std::optional<seconds> next_volume_change() const;

    /// Returns whether the track is past its first block, or will not get there.
    [[nodiscard]] bool begun() const { return phase_ >= phase::playing; }

    [[nodiscard]] bool over() const { return phase_ == phase::over; }

    /// Returns whether the track has been played from its start to its end.
    [[nodiscard]] bool complete() const { return complete_; }

    /// Returns what went wrong, as a sentence; empty when nothing did.
    [[nodiscard]] const std::string& problem() const { return problem_; }

    [[nodiscard]] const track& played() const { return track_; }

    /// Returns whether the sound goes on at this moment.
    [[nodiscard]] bool sounds() const { return clock_.running(); }

    /// Returns how far the sound has come: into the current round, where the track repeats.
    [[nodiscard]] seconds position() const;

private:
    enum class phase { loading, starting, playing, ending, over };

    void start();
    void end();
    [[nodiscard]] std::string describe(int code) const;

    player& player_;
    const options& options_;
    track track_;
    volume_curve curve_;
    stopwatch clock_;
    phase phase_ = phase::loading;
    qz_audio_status status_;
    bool output_was_open_;
    int volume_ = 0;
    bool complete_ = false;
    std::string problem_;
};
