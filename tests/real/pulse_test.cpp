#include "support_pulse.h"

#include "event.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>

using ::testing::ElementsAre;
using ::testing::PrintToString;

namespace
{

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

class pulse : public pulse_test
{
protected:
    /// Returns whether the last step that is heard has this loudness, relative to the first.
    [[nodiscard]] bool is_heard_at(double wanted) const
    {
        const std::vector<double> steps = steps_of(heard->levels());
        return !steps.empty() && std::abs(steps.back() - wanted) < tolerance;
    }

    static constexpr double tolerance = 0.05;
};

} // namespace

TEST_F(pulse, plays_a_track_at_its_length_and_pitch)
{
    EXPECT_TRUE(player->plays(make_tone("400", "1.5")));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    ASSERT_TRUE(wait_until([&] { return heard->ends_silent(); }));
    EXPECT_GT(heard->audible_seconds(), 1.0);
    EXPECT_LT(heard->audible_seconds(), 2.0);
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
    play(make_tone("400", "60"));
    server.reset();
    EXPECT_TRUE(player->waits_for("stopped"));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}
