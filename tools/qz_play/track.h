/// \file
/// \brief What can be known of a track before it is played.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

struct track {
    struct extent {
        std::chrono::duration<double> length;
        std::uintmax_t bytes; ///< Of decoded sound.
    };

    std::string path;
    std::optional<extent> size; ///< Known for an ordinary file; a pipe tells nothing beforehand.
};

/// Looks into the file at `path`: whether it can be read and holds sound, and how much. Throws
/// `track_failure`.
track inspect_track(const std::string& path);
