/// \file
/// \brief The state of the playback at one moment, as the terminal and the session bus show it.
#pragma once

#include "commands.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>

enum class play_state { stopped, paused, playing };

struct snapshot {
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    play_state state = play_state::stopped;
    std::string path;
    bool knows_tags = true; ///< If false, tags and length follow in a later snapshot.
    std::string title;      ///< In UTF-8, like the next two; empty if the file has no such tag.
    std::string artist;
    std::string album;
    std::size_t index = 0;       ///< Of the track in the list; the first is 0.
    std::size_t track_count = 0; ///< The size of the list.
    std::optional<seconds> length;
    int volume = 0; ///< The user's setting in percent, without fades and muting.
    bool muted = false;
    loop_mode loop = loop_mode::none;
    bool shuffle = false;
    bool can_next = false;
    bool can_previous = false;

    bool is_advancing = false; ///< Whether the position advances.
    seconds position{0};       ///< At the time `taken`.
    clock::time_point taken{};

    /// Returns the position at `now`, extrapolated from `taken`.
    [[nodiscard]] seconds position_at(clock::time_point now) const
    {
        const seconds reached = position + (is_advancing ? now - taken : seconds::zero());
        if (!length || *length <= seconds::zero()) {
            return reached;
        }
        return loop == loop_mode::track ? seconds(std::fmod(reached.count(), length->count()))
                                        : std::min(reached, *length);
    }
};
