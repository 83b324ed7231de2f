/// \file
/// \brief A player whose sound goes to a PulseAudio server of the test's own, in real time.
#pragma once

#include "support.h"
#include "support_player.h"

#include "sound_server.h"

#include <optional>
#include <string>
#include <vector>

constexpr int recorded_rate = 44100;

/// What counts as heard, of 32767.
constexpr double audible = 100;

/// What the server's sink plays from now on.
class recording
{
public:
    recording(const sound_server& server, const std::string& file);

    /// 16-bit mono.
    [[nodiscard]] std::string samples() const;

    /// The loudness of each 20 ms: whole periods of the tones used here.
    [[nodiscard]] std::vector<double> levels() const;

    /// Returns for how long sound is heard in all.
    [[nodiscard]] double audible_seconds() const;

    /// Returns whether the last third of a second is audible, or silent, throughout.
    [[nodiscard]] bool ends_audible() const;
    [[nodiscard]] bool ends_silent() const;

private:
    std::string file_;
    program recorder_;
};

class pulse_test : public real_test
{
protected:
    void SetUp() override;

    [[nodiscard]] std::string make_tone(const std::string& hertz, const std::string& seconds) const;

    /// Plays until something is heard.
    void play(const std::string& track);

    void stop();

    std::optional<sound_server> server;
    std::optional<recording> heard;
    std::optional<told_player> player;
};
