/// \file
/// \brief Sound into WAV files, through ALSA's file plugin.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

/// Makes ALSA's default device write into whichever file has been named last.
///
/// ALSA is told its configuration and the file by their descriptors: the environment and the
/// configuration stay the same from track to track, and no character of a path means anything to ALSA.
class wav_output
{
public:
    /// Changes the environment: to be called while no player exists.
    wav_output();
    ~wav_output();

    wav_output(const wav_output&) = delete;
    wav_output& operator=(const wav_output&) = delete;

    /// Makes `file` anew; the next track that is loaded goes there. Throws `startup_failure` when it
    /// cannot be written, or is `track` itself.
    void begin(const std::filesystem::path& file, const std::string& track);

    /// Returns whether `sound_bytes` have been written behind the header, as far as the file can tell.
    [[nodiscard]] bool holds(std::uintmax_t sound_bytes) const;

private:
    int configuration_ = -1;
    int target_;
};

/// Returns `file` for a single track; for the one at `index` of several, `file` with the number put
/// before its extension, counted from 1.
std::filesystem::path wav_file_of_track(const std::filesystem::path& file, std::size_t index,
                                        std::size_t track_count);
