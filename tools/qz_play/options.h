/// \file
/// \brief The command line.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <variant>
#include <vector>

struct options {
    std::vector<std::string> tracks;
    int volume = 100;
    std::chrono::duration<double> fade_in{0};
    std::chrono::duration<double> fade_out{0};
    bool repeat = false;
    std::optional<std::string> bin_path;
    std::optional<std::string> wav;
};

/// Reads the command line. Where there is nothing to play (help, version, wrong usage) it has said so
/// and returns the exit status.
std::variant<options, int> parse_options(int argc, char** argv);
