/// \file
/// \brief Tracks of noise that are played in turn, and how much of them has to be heard.
#pragma once

#include "support.h"

#include <cstddef>
#include <string>
#include <vector>

/// 5 ms.
constexpr std::size_t frames_to_lose = 44100 / 200;

/// A track of so many milliseconds: 50 of silence, which a recording may begin too late for, and noise.
track_settings noise(int milliseconds, int channels);

/// Plays each track from inside the callback that reports the end of the one before, and waits until the
/// player is gone. Returns whether the last track has ended.
bool plays_in_turn(const std::vector<std::string>& tracks);
