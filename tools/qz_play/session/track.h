/// \file
/// \brief What can be known of a track beside its sound.
#pragma once

#include "session/tags.h"

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
    std::optional<extent> size; ///< Known once it was measured.
    tags told;                  ///< By the file itself.
};

/// Looks into the file at `path`: whether it can be read and holds sound. Throws `track_failure`.
track inspect_track(const std::string& path);

/// Returns how much sound the file at `path` holds, if that can be told: a pipe tells nothing beforehand.
/// Takes longer than `inspect_track`, and the longer the more the file holds.
std::optional<track::extent> measure_track(const std::string& path);
