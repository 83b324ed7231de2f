/// \file
/// \brief What the tests of the command-line player share: the program as built, in a world without
/// sound unless a test adds some, and tracks.
#pragma once

#include "program.h"
#include "sound_server.h"
#include "temporary_folder.h"
#include "wav_file.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Returns how often `part` is in `text`.
std::size_t count(const std::string& text, const std::string& part);

class qz_play_test : public ::testing::Test
{
protected:
    struct result {
        int status;
        std::string output;
        std::string errors;
    };

    /// What is encoded for a test: a tone, or what sox makes by other effects.
    struct sound {
        std::string name = "tone.mp3";
        std::string seconds = "0.5";
        std::string rate = "44100";
        std::string channels = "2";
        std::vector<std::string> effects = {"synth", seconds, "sine", "440", "gain", "-3"};
        std::vector<std::string> encoding = {"-b", "128"};
    };

    qz_play_test();
    static std::vector<std::string> qz_play(std::vector<std::string> arguments);

    /// Runs qz_play to its end.
    [[nodiscard]] result run(const std::vector<std::string>& arguments) const;

    /// Runs qz_play to its end, with the sound written to "out.wav".
    [[nodiscard]] result run_to_wav(std::vector<std::string> arguments) const;

    /// Starts a sound server for the programs that are started later.
    void start_server();

    /// Lets each read of a length scan take ten seconds.
    void slow_down_scans();

    /// Sends two signals. They differ, since two of a kind may become one.
    static void end_at_once(const program& player);

    /// Returns a path in the test's own folder.
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() / name; }

    /// Makes the track and returns its path.
    std::string make_track(const sound& wanted) const; // NOLINT(modernize-use-nodiscard)

    /// Makes a track of 20 seconds whose length is known only after all of its frames have been read.
    std::string make_variable_track() const; // NOLINT(modernize-use-nodiscard)

    /// Returns the path of another name for a track of half a second.
    std::string make_link(const std::string& name) const; // NOLINT(modernize-use-nodiscard)

    /// Makes a pipe and returns its path.
    [[nodiscard]] std::string make_pipe(const std::string& name) const;

    /// Makes the pipe `name` and lets the track come through it over and over as long as somebody reads it.
    [[nodiscard]] program make_endless_track(const std::string& name) const;

    /// Returns what mpg123, with further `options`, decodes the track to.
    [[nodiscard]] std::string decoded(const std::string& track,
                                      const std::vector<std::string>& options = {}) const;

    /// Returns the folders that qz_play has made and not removed.
    [[nodiscard]] std::vector<std::filesystem::path> temporary_folders() const;

    /// A folder with nothing but a link to libout123's module for ALSA.
    [[nodiscard]] std::string make_module_folder(const std::string& name) const;

    /// Lets ALSA's default device write into `file`, and take one channel only where it is `mono`.
    [[nodiscard]] std::string make_alsa_configuration(const std::string& file,
                                                      bool mono = false) const;

    program_settings settings;

private:
    temporary_folder folder_{"qz_play_test"};

protected:
    std::optional<sound_server> server;
};
