/// \file
/// \brief The command line.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct options {
    std::vector<std::string> names; ///< Of tracks, folders and lists.
    int volume = 100;
    std::chrono::duration<double> fade_in{0};
    std::chrono::duration<double> fade_out{0};
    bool repeat = false;
    bool loop = false;
    bool shuffle = false;
    std::optional<std::size_t> start; ///< The number of the first track, counted from 1.
    bool smooth = true;
    bool mpris = true;
    bool quiet = false;
    bool verbose = false;
    std::optional<std::string> bin_path;
    std::optional<std::string> wav;
};

/// Reads the command line. Where there is nothing to play (help, version, wrong usage) it has said so
/// and returns the exit status.
std::variant<options, int> parse_options(int argc, char** argv);
