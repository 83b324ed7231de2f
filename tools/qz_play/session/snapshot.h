/// \file
/// \brief What plays and how, at one moment: what there is to show to users and to other programs.
#pragma once

#include "session/requests.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

enum class play_state { stopped, paused, playing };

struct snapshot {
    using clock = std::chrono::steady_clock;
    using seconds = std::chrono::duration<double>;

    play_state state = play_state::stopped;
    std::string path;
    std::string title; ///< In UTF-8, like the next two; empty where the file does not tell.
    std::string artist;
    std::string album;
    std::size_t number = 0;      ///< Of the track in the list, counted from 0.
    std::size_t track_count = 0; ///< Of the list.
    std::optional<seconds> length;
    int volume = 0; ///< That the user has chosen, also while a fade or the muting lowers it.
    bool muted = false;
    loop_mode loop = loop_mode::none;
    bool shuffle = false;
    bool can_next = false;
    bool can_previous = false;

    bool sounds = false; ///< Whether the position moves on.
    seconds position{0}; ///< At the time `taken`.
    clock::time_point taken{};

    /// Returns where the sound is `now`, with this as the last that has been told.
    [[nodiscard]] seconds position_at(clock::time_point now) const;
};

/// Returns whether both tell the same but for the time that has gone by.
bool tell_the_same(const snapshot& one, const snapshot& other);
