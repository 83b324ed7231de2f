#include "support_pulse.h"

#include "event.h"
#include "wav_file.h"

#include <algorithm>

namespace
{

/// 20 ms.
constexpr std::size_t stretch = recorded_rate / 50;

std::vector<std::string> recorder_into(const std::string& file)
{
    std::vector<std::string> command = sound_server::recorder();
    command.push_back(file);
    return command;
}

template <class Predicate>
bool ends_with(const std::vector<double>& levels, Predicate is_wanted)
{
    constexpr std::ptrdiff_t looked_at = 16;
    return levels.size() >= looked_at &&
           std::all_of(levels.end() - looked_at, levels.end(), is_wanted);
}

} // namespace

recording::recording(const sound_server& server, const std::string& file)
    : file_(file), recorder_(recorder_into(file), server.client_settings())
{
    EXPECT_TRUE(wait_until([&] { return !samples().empty(); })) << "nothing is recorded";
}

std::string recording::samples() const
{
    return read_file(file_);
}

std::vector<double> recording::levels() const
{
    return loudness(samples(), stretch);
}

double recording::audible_seconds() const
{
    const std::vector<double> all = levels();
    const auto stretches =
        std::count_if(all.begin(), all.end(), [](double level) { return level > audible; });
    return static_cast<double>(stretches) * stretch / recorded_rate;
}

bool recording::ends_audible() const
{
    return ends_with(levels(), [](double level) { return level > audible; });
}

bool recording::ends_silent() const
{
    return ends_with(levels(), [](double level) { return level <= audible; });
}

void pulse_test::SetUp()
{
    for (const char* needed : {"pulseaudio", "pactl", "parec"}) {
        if (program({"which", needed}, {}).wait_for_exit() != 0) {
            GTEST_SKIP() << needed << " is not installed";
        }
    }
    server.emplace(path(""));
    for (const auto& [name, value] : server->client_settings().environment) {
        set_environment(name, value);
    }
    set_environment("PULSE_LATENCY_MSEC", "30");
    use_module("pulse");
    player.emplace();
    heard.emplace(*server, path("heard"));
}

std::string pulse_test::make_tone(const std::string& hertz, const std::string& seconds) const
{
    track_settings settings;
    settings.channels = 1;
    settings.seconds = seconds;
    settings.sound = {"sine", hertz};
    return make_track(settings);
}

void pulse_test::play(const std::string& track)
{
    qz_audio_set_audio_track(player->handle(), track);
    qz_audio_play(player->handle());
    ASSERT_TRUE(wait_until([&] { return heard->ends_audible(); }));
}

void pulse_test::stop()
{
    qz_audio_stop(player->handle(), nullptr);
    ASSERT_TRUE(player->waits_for("stopped"));
}
