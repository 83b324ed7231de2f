/// \file
/// \brief What the tests on the real libraries share: a folder of a test's own, tracks, and an output
/// that a test can look into.
#pragma once

#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

/// A track that is encoded for the test: tones that glide, so that no two moments of it are alike.
struct track_settings {
    std::string name = "track.mp3";
    int rate = 44100;
    int channels = 2;
    std::string seconds = "0.5";
    std::vector<std::string> sound = {"sine", "300-3000", "sine", "2000-200"};
    std::vector<std::string> coding = {"-b", "64"}; ///< Options of the encoder.
};

class real_test : public ::testing::Test
{
protected:
    /// Returns a path in the test's own folder.
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() / name; }

    /// Encodes a track and returns its path.
    [[nodiscard]] std::string make_track(const track_settings& wanted) const;

    /// Sets, or unsets, a variable of this process. No player may be doing anything meanwhile.
    static void set_environment(const std::string& name, const std::optional<std::string>& value);

    /// From now on this module is the only output.
    void use_module(const std::string& module) const;

    /// From now on ALSA is the only output, and its default device writes into `file`. In the file's name
    /// %r stands for the sample rate and %c for the number of channels. The format is "wav" or "raw".
    void write_sound_to(const std::string& file, const std::string& format = "wav");

    /// From now on ALSA is the only output, and it has no device.
    void take_device_away();

    /// Returns what was written with "%r-%c.wav" at this rate and with this many channels.
    [[nodiscard]] std::string written_samples(long rate, int channels) const;

private:
    void configure_default_device(const std::string& definition);

    temporary_folder folder_{"qz_real_test"};
    int configurations_ = 0;
};

/// Returns how many bytes are equal from the byte `start` on.
std::size_t equal_length(const std::string& a, const std::string& b, std::size_t start = 0);

/// Returns whether both are the same; if not, the message says from where on.
::testing::AssertionResult same_samples(const std::string& heard, const std::string& expected);

/// Returns whether something was heard and `expected` begins so; if not, the message says from where on.
::testing::AssertionResult is_beginning(const std::string& heard, const std::string& expected);
