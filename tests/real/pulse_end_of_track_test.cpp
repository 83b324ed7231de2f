#include "support_decoder.h"
#include "support_pulse.h"
#include "support_turns.h"

#include "event.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ostream>

using ::testing::AllOf;
using ::testing::Ge;
using ::testing::Le;

namespace
{

/// Tracks that are played in turn on a server that is asked for this latency.
struct succession {
    const char* name;
    std::optional<std::string> latency; ///< In milliseconds; the client's own is 250.
    int milliseconds; ///< Of each track: more than half the latency, or the server would wait for more.
    std::size_t times;
};

void PrintTo(const succession& succession, std::ostream* stream)
{
    *stream << succession.name;
}

/// How many of the 16-bit mono samples are audible: of noise, nearly all.
std::size_t audible_frames(const std::string& samples)
{
    std::vector<std::int16_t> values(samples.size() / sizeof(std::int16_t));
    std::memcpy(values.data(), samples.data(), values.size() * sizeof(std::int16_t));
    return static_cast<std::size_t>(
        std::count_if(values.begin(), values.end(),
                      [](std::int16_t value) { return std::abs(value) > audible; }));
}

class pulse_end_of_track : public pulse_test, public ::testing::WithParamInterface<succession>
{
};

} // namespace

TEST_P(pulse_end_of_track, is_heard)
{
    set_environment("PULSE_LATENCY_MSEC", GetParam().latency);
    const std::size_t times = GetParam().times;
    const std::string track = make_track(noise(GetParam().milliseconds, 1));
    ASSERT_TRUE(plays_in_turn(std::vector<std::string>(times, track)));
    ASSERT_TRUE(wait_until([this] { return heard->ends_silent(); }));

    const std::size_t whole = times * audible_frames(decode(track).samples);
    EXPECT_THAT(audible_frames(heard->samples()),
                AllOf(Ge(whole - times * frames_to_lose), Le(whole + times)));
}

INSTANTIATE_TEST_SUITE_P(
    of, pulse_end_of_track,
    ::testing::Values(succession{"150_milliseconds", {}, 150, 1},
                      succession{"500_milliseconds", {}, 500, 1},
                      succession{"1_second", {}, 1000, 1}, succession{"3_seconds", {}, 3000, 1},
                      succession{"5_seconds", {}, 5000, 1}, succession{"ten_in_turn", {}, 1000, 10},
                      succession{"100_milliseconds_at_low_latency", "100", 100, 1},
                      succession{"1200_milliseconds_at_high_latency", "2000", 1200, 1},
                      succession{"3_seconds_at_high_latency", "2000", 3000, 1},
                      succession{"three_in_turn_at_high_latency", "2000", 1200, 3}),
    [](const auto& tested) { return tested.param.name; });
