#include "support.h"
#include "support_player.h"

#include "sound_server.h"
#include "wav_file.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>

using ::testing::DoubleNear;
using ::testing::ElementsAre;
using ::testing::Pointwise;

namespace
{

constexpr int recorded_rate = 44100;
constexpr std::size_t stretch =
    recorded_rate / 50;         ///< 20 ms: whole periods of the tones used here.
constexpr double audible = 100; ///< Of 32767.

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
        EXPECT_TRUE(comes_true([&] { return !samples().empty(); })) << "nothing is recorded";
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

/// The loudness of each step that is heard: audible and steady for a while. Neighbours differ.
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
    return steps;
}

std::vector<double> relative_to_first(std::vector<double> steps)
{
    const double first = steps.empty() ? 1 : steps.front();
    for (double& step : steps) {
        step /= first;
    }
    return steps;
}

/// The samples from the first audible stretch to the last.
std::string audible_part(const std::string& samples)
{
    const std::vector<double> levels = loudness(samples, stretch);
    const auto is_audible = [](double level) { return level > audible; };
    const auto first = std::find_if(levels.begin(), levels.end(), is_audible);
    const auto last = std::find_if(levels.rbegin(), levels.rend(), is_audible).base();
    const auto bytes = [](auto stretches) {
        return static_cast<std::size_t>(stretches) * stretch * sizeof(std::int16_t);
    };
    return first == levels.end()
               ? ""
               : samples.substr(bytes(first - levels.begin()), bytes(last - first));
}

double seconds_of(const std::string& samples)
{
    return static_cast<double>(samples.size()) / sizeof(std::int16_t) / recorded_rate;
}

/// Hertz of a tone, from how often its samples become positive.
double pitch_of(const std::string& samples)
{
    std::vector<std::int16_t> values(samples.size() / sizeof(std::int16_t));
    std::memcpy(values.data(), samples.data(), values.size() * sizeof(std::int16_t));
    int rises = 0;
    for (std::size_t at = 1; at < values.size(); ++at) {
        rises += values[at - 1] <= 0 && values[at] > 0 ? 1 : 0;
    }
    return rises / seconds_of(samples);
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
        ASSERT_TRUE(comes_true([&] { return heard->ends_audible(); }));
    }

    void stop()
    {
        qz_audio_stop(player->handle(), nullptr);
        ASSERT_TRUE(player->waits_for("stopped"));
    }

    std::optional<sound_server> server;
    std::optional<recording> heard;
    std::optional<told_player> player;
};

} // namespace

TEST_F(pulse, plays_a_track_at_its_length_and_pitch)
{
    EXPECT_TRUE(player->plays(make_tone("400", "1.5")));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    ASSERT_TRUE(comes_true([&] { return heard->ends_silent(); }));
    const std::string part = audible_part(heard->samples());
    ASSERT_GT(seconds_of(part), 1.0);
    EXPECT_LT(seconds_of(part), 2.0);
    EXPECT_NEAR(pitch_of(part), 400, 10);
}

TEST_F(pulse, is_silent_while_paused)
{
    play(make_tone("400", "60"));
    qz_audio_pause(player->handle());
    EXPECT_TRUE(comes_true([&] { return heard->ends_silent(); }));
    qz_audio_play(player->handle());
    EXPECT_TRUE(comes_true([&] { return heard->ends_audible(); }));
    stop();
    EXPECT_TRUE(comes_true([&] { return heard->ends_silent(); }));
}

TEST_F(pulse, lets_fades_be_heard_in_their_steps)
{
    constexpr int timeout = 300;
    qz_audio_set_audio_volume_decrement_step(player->handle(), 20);
    qz_audio_set_audio_volume_decrement_timeout(player->handle(), timeout);
    qz_audio_set_audio_volume_increment_step(player->handle(), 20);
    qz_audio_set_audio_volume_increment_timeout(player->handle(), timeout);
    play(make_tone("1000", "60"));
    qz_audio_volume_decrement_timeout_start(player->handle(), 20);
    ASSERT_TRUE(player->waits_for("volume 20"));
    qz_audio_volume_increment_timeout_start(player->handle(), 100);
    ASSERT_TRUE(player->waits_for("volume 100"));
    const std::vector<double> expected{1, 0.8, 0.6, 0.4, 0.2, 0.4, 0.6, 0.8, 1};
    comes_true([&] { return steps_of(heard->levels()).size() >= expected.size(); });
    stop();
    EXPECT_THAT(relative_to_first(steps_of(heard->levels())),
                Pointwise(DoubleNear(0.05), expected));
}

TEST_F(pulse, that_dies_lets_the_track_run_out_unheard)
{
    play(make_tone("400", "60"));
    server.reset();
    EXPECT_TRUE(player->waits_for("stopped"));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}
