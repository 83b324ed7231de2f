/// \file
/// \brief The command-line options and the exit status.
#pragma once

#include "commands.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct options {
    std::vector<std::string> names; ///< The tracks, folders and playlists to play.
    int volume = 100;               ///< In percent.
    std::chrono::duration<double> fade_in{0};
    std::chrono::duration<double> fade_out{0};
    loop_mode loop = loop_mode::none;
    bool shuffle = false;
    std::optional<std::size_t> start; ///< The number of the first track, counted from 1.
    bool smooth = true;
    bool mpris = true;
    bool quiet = false;
    bool verbose = false;
    std::optional<std::string> bin_path;
    std::optional<std::string> wav;
};

enum exit_status : int {
    exit_all_played = 0,
    exit_not_started = 1, ///< Wrong usage, or no sound output.
    exit_none_played = 2, ///< No track could be played.
    exit_some_failed = 3, ///< Some tracks could not be played, or not to the end.
    exit_by_signal = 4
};

/// Returns the options. If there is nothing to play, prints the help, the version or an error message, and returns
/// the exit status.
std::variant<options, int> parse_options(int argc, const char* const* argv);
