#include "support.h"
#include "support_player.h"

#include "event.h"
#include "sound_server.h"
#include "wav_file.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <utility>

using ::testing::ElementsAre;
using ::testing::PrintToString;

namespace
{

constexpr int recorded_rate = 44100;

/// 20 ms: whole periods of the tones used here.
constexpr std::size_t stretch = recorded_rate / 50;

/// Of 32767.
constexpr double audible = 100;

std::vector<std::string> recorder_into(const std::string& file)
{
    std::vector<std::string> command = sound_server::recorder();
    command.push_back(file);
    return command;
}

/// What the server's sink plays from now on.
class recording
{
public:
    recording(const sound_server& server, const std::string& file)
        : file_(file), recorder_(recorder_into(file), server.client_settings())
    {
        EXPECT_TRUE(wait_until([&] { return !samples().empty(); })) << "nothing is recorded";
    }

    /// 16-bit mono.
    [[nodiscard]] std::string samples() const { return read_file(file_); }

    /// The loudness of each stretch.
    [[nodiscard]] std::vector<double> levels() const { return loudness(samples(), stretch); }

    /// Returns whether the last third of a second is audible, or silent, throughout.
    [[nodiscard]] bool ends_audible() const
    {
        return ends_with([](double level) { return level > audible; });
    }
    [[nodiscard]] bool ends_silent() const
    {
        return ends_with([](double level) { return level <= audible; });
    }

private:
    template <class Predicate>
    [[nodiscard]] bool ends_with(Predicate is_wanted) const
    {
        constexpr std::ptrdiff_t looked_at = 16;
        const std::vector<double> all = levels();
        return all.size() >= looked_at && std::all_of(all.end() - looked_at, all.end(), is_wanted);
    }

    std::string file_;
    program recorder_;
};

bool is_close(double a, double b)
{
    return std::abs(a - b) <= 0.03 * std::max(a, b);
}

/// The loudness, relative to the first, of each step that is heard: audible and steady for a while.
/// Neighbours differ.
std::vector<double> steps_of(const std::vector<double>& levels)
{
    constexpr std::ptrdiff_t long_enough = 4;
    std::vector<double> steps;
    for (auto at = levels.begin(); levels.end() - at >= long_enough; ++at) {
        const bool steady = std::all_of(at, at + long_enough, [&](double level) {
            return level > audible && is_close(level, *at);
        });
        if (steady && (steps.empty() || !is_close(steps.back(), *at))) {
            steps.push_back(*at);
        }
    }
    const double first = steps.empty() ? 1 : steps.front();
    for (double& step : steps) {
        step /= first;
    }
    return steps;
}

double audible_seconds(const std::vector<double>& levels)
{
    const auto stretches =
        std::count_if(levels.begin(), levels.end(), [](double level) { return level > audible; });
    return static_cast<double>(stretches) * stretch / recorded_rate;
}

/// Hertz of a tone, from how far apart its samples become positive; gaps in the tone do not matter.
double pitch_of(const std::string& samples)
{
    std::vector<std::int16_t> values(samples.size() / sizeof(std::int16_t));
    std::memcpy(values.data(), samples.data(), values.size() * sizeof(std::int16_t));
    std::vector<std::size_t> periods;
    std::size_t last_rise = 0;
    for (std::size_t at = 1; at < values.size(); ++at) {
        if (values[at - 1] <= 0 && values[at] > 0) {
            periods.push_back(at - std::exchange(last_rise, at));
        }
    }
    if (periods.empty()) {
        return 0;
    }
    const auto median = periods.begin() + static_cast<std::ptrdiff_t>(periods.size() / 2);
    std::nth_element(periods.begin(), median, periods.end());
    return recorded_rate / static_cast<double>(*median);
}

/// Sound through a PulseAudio server, in real time.
class pulse : public real_test
{
protected:
    void SetUp() override
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

    [[nodiscard]] std::string make_tone(const std::string& hertz, const std::string& seconds) const
    {
        track_settings settings;
        settings.channels = 1;
        settings.seconds = seconds;
        settings.sound = {"sine", hertz};
        return make_track(settings);
    }

    /// Plays until something is heard.
    void play(const std::string& track)
    {
        qz_audio_set_audio_track(player->handle(), track);
        qz_audio_play(player->handle());
        ASSERT_TRUE(wait_until([&] { return heard->ends_audible(); }));
    }

    void stop()
    {
        qz_audio_stop(player->handle(), nullptr);
        ASSERT_TRUE(player->waits_for("stopped"));
    }

    /// Returns whether the last step that is heard has this loudness, relative to the first.
    [[nodiscard]] bool is_heard_at(double wanted) const
    {
        const std::vector<double> steps = steps_of(heard->levels());
        return !steps.empty() && std::abs(steps.back() - wanted) < tolerance;
    }

    static constexpr double tolerance = 0.05;

    std::optional<sound_server> server;
    std::optional<recording> heard;
    std::optional<told_player> player;
};

} // namespace

TEST_F(pulse, plays_a_track_at_its_length_and_pitch)
{
    EXPECT_TRUE(player->plays(make_tone("400", "1.5")));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    ASSERT_TRUE(wait_until([&] { return heard->ends_silent(); }));
    EXPECT_GT(audible_seconds(heard->levels()), 1.0);
    EXPECT_LT(audible_seconds(heard->levels()), 2.0);
    EXPECT_NEAR(pitch_of(heard->samples()), 400, 10);
}

TEST_F(pulse, is_silent_while_paused)
{
    play(make_tone("400", "60"));
    qz_audio_pause(player->handle());
    EXPECT_TRUE(wait_until([&] { return heard->ends_silent(); }));
    qz_audio_play(player->handle());
    EXPECT_TRUE(wait_until([&] { return heard->ends_audible(); }));
    stop();
    EXPECT_TRUE(wait_until([&] { return heard->ends_silent(); }));
}

TEST_F(pulse, lets_fades_be_heard_in_their_steps)
{
    qz_audio_set_audio_volume_decrement_step(player->handle(), 20);
    qz_audio_set_audio_volume_increment_step(player->handle(), 20);
    play(make_tone("1000", "60"));
    qz_audio_volume_decrement_timeout_start(player->handle(), 20);
    ASSERT_TRUE(wait_until([&] { return is_heard_at(0.2); }));
    qz_audio_volume_increment_timeout_start(player->handle(), 100);
    ASSERT_TRUE(wait_until([&] { return is_heard_at(1); }));
    stop();

    const std::vector<double> steps = steps_of(heard->levels());
    for (const double step : steps) {
        EXPECT_NEAR(step, std::round(step * 5) / 5, tolerance) << "not a step of 20 percent";
    }
    const auto bottom = std::min_element(steps.begin(), steps.end());
    EXPECT_TRUE(std::is_sorted(steps.begin(), bottom, std::greater<>())) << PrintToString(steps);
    EXPECT_TRUE(std::is_sorted(bottom, steps.end())) << PrintToString(steps);
    // A machine that is very busy may swallow one step or another, but never all of them.
    EXPECT_GE(bottom - steps.begin(), 2) << PrintToString(steps);
    EXPECT_GE(steps.end() - bottom, 3) << PrintToString(steps);
}

TEST_F(pulse, that_dies_lets_the_track_run_out_unheard)
{
    play(make_tone("400", "10"));
    server.reset();
    EXPECT_TRUE(player->waits_for("stopped"));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}
