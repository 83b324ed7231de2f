/// \file
/// \brief How qz_play ends.
#pragma once

enum exit_status : int {
    exit_all_played = 0,
    exit_not_started = 1, ///< Wrong usage, or no output to play on.
    exit_none_played = 2, ///< No track could be played.
    exit_some_failed = 3, ///< Some tracks could not be played, or not to their ends.
    exit_by_signal = 4
};
