/// \file
/// \brief Finds out where sound can be played on this machine.
#pragma once

#include "options.h"

#include <chrono>
#include <filesystem>
#include <string>

/// A new folder that only this user can enter. The destructor removes it with its contents.
class temp_folder
{
public:
    /// Throws `std::system_error`.
    temp_folder();
    ~temp_folder() { remove(); }
    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    void remove() noexcept;

private:
    std::filesystem::path path_;
};

struct output_choice {
    std::string problem; ///< The error message if nothing can be played, or empty.

    /// How much sound the output discards at each pause.
    std::chrono::duration<double> dropped_by_pause{0};
};

/// Restricts libout123 to those of its modules that work on this machine, or to the ALSA module for a WAV file.
/// Otherwise libout123 would try all modules in turn, and the last ones open without a device and then block forever.
/// If the user has set `MPG123_MODDIR` and wants no WAV file, it is used unchanged. Also sets PulseAudio's latency and
/// the names that volume mixers show.
///
/// Changes the environment: call it before any thread starts.
output_choice choose_output(const options& opts, const temp_folder& folder);
