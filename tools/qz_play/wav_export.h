/// \file
/// \brief Writes the sound to WAV files, through ALSA's file plugin.
#pragma once

#include "worker.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

/// Makes ALSA's default device write to the file of the last call of `begin`.
///
/// The configuration and the file are passed to ALSA as /proc paths of descriptors. So the environment is the same for
/// all tracks, and ALSA does not interpret special characters in the file's path.
class wav_export
{
public:
    /// Changes the environment: create it before any thread starts. Throws `std::system_error`.
    wav_export();
    ~wav_export();
    wav_export(const wav_export&) = delete;
    wav_export& operator=(const wav_export&) = delete;

    /// Creates `file` for the next track. Returns an error message, or an empty text. May block. If cancelled in the
    /// meantime, does not switch to the file. Call this while nothing plays.
    [[nodiscard]] std::string begin(const std::filesystem::path& file,
                                    const cancel_flag& cancelled) const;

    /// Returns whether the file contains `sound_bytes`. For a pipe, returns whether it still has a reader.
    [[nodiscard]] bool holds(std::uintmax_t sound_bytes) const;

private:
    int configuration_ = -1;
    int target_;
};

/// Returns the WAV file for the track at `index`: `file` for a single track. For several tracks, the track's number,
/// counted from 1 and padded with zeros, precedes the extension.
std::filesystem::path wav_file_of_track(const std::filesystem::path& file, std::size_t index,
                                        std::size_t track_count);

/// Returns an error message if a WAV file would overwrite one of `tracks`, or an empty text. May block: call it on the
/// worker.
std::string overwritten_track(const std::filesystem::path& file,
                              const std::vector<std::string>& tracks);
