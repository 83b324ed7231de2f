/// \file
/// \brief What the user wants, whatever plays.
#pragma once

#include "session/requests.h"
#include "session/snapshot.h"

/// Holds from track to track, until the user wants something else.
class wishes
{
public:
    /// To play, at `volume`.
    explicit wishes(int volume) : volume_(volume) {}

    [[nodiscard]] play_state state() const { return state_; }
    void play() { state_ = play_state::playing; }
    void stop() { state_ = play_state::stopped; }

    /// What is stopped stays so.
    void pause();

    [[nodiscard]] int volume() const { return volume_; }
    [[nodiscard]] bool muted() const { return muted_; }

    /// Returns the volume, or 0 while it is muted.
    [[nodiscard]] int sounding_volume() const { return muted_ ? 0 : volume_; }

    /// Unmutes, too. What lies beyond 0 or 100 counts as these.
    void set_volume(int volume);
    void toggle_mute() { muted_ = !muted_; }

    [[nodiscard]] loop_mode loop() const { return loop_; }
    void set_loop(loop_mode mode) { loop_ = mode; }

private:
    play_state state_ = play_state::playing;
    int volume_;
    bool muted_ = false;
    loop_mode loop_ = loop_mode::none;
};

/// Returns the mode behind `mode`, round and round.
loop_mode next_loop_mode(loop_mode mode);
