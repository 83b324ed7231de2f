#include "fade.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using seconds = fade::seconds;

namespace
{

constexpr fade::clock::time_point start{1h};

struct fade_case {
    double fade_in;
    double fade_out;
    std::optional<seconds> length;
    double position;
    double level;
    std::optional<seconds> next_change;
};

} // namespace

TEST(fade, of_a_track_rises_at_its_start_and_falls_at_its_end_in_short_steps)
{
    constexpr auto step = fade::step;
    for (const fade_case& each : {fade_case{0, 0, 10s, 0, 1, {}},
                                  {0, 0, 10s, 11, 1, {}},
                                  {2, 4, 10s, 0, 0, step},
                                  {2, 4, 10s, 1, 0.5, step},
                                  {2, 4, 10s, 3, 1, 3s},
                                  {2, 4, 10s, 8, 0.5, step},
                                  {2, 4, 10s, 10, 0, step},
                                  {4, 4, 4s, 0, 0, step}, // shorter than its fades
                                  {4, 4, 4s, 2, 0.5, step},
                                  {4, 4, 4s, 4, 0, step},
                                  {2, 4, {}, 1, 0.5, step}, // of unknown length
                                  {2, 4, {}, 1000, 1, {}}}) {
        fade volume{seconds(each.fade_in), seconds(each.fade_out)};
        volume.set_length(each.length);
        SCOPED_TRACE(each.position);
        EXPECT_DOUBLE_EQ(volume.level(seconds(each.position), start), each.level);
        EXPECT_EQ(volume.next_change(seconds(each.position), start), each.next_change);
    }
}

TEST(fade, ramps_evenly_to_silence_and_back_from_the_level_it_has_reached)
{
    fade volume{0s, 0s};
    volume.ramp_to(0, 100ms, start);
    EXPECT_EQ(volume.level(5s, start), 1);
    EXPECT_NEAR(volume.level(5s, start + 25ms), 0.75, 1e-9);
    EXPECT_EQ(volume.next_change(5s, start + 99ms), fade::step);
    EXPECT_EQ(volume.level(5s, start + 100ms), 0);
    EXPECT_FALSE(volume.is_ramping(start + 200ms));
    volume.ramp_to(1, 100ms, start + 200ms);
    volume.ramp_to(0, 100ms, start + 240ms);
    EXPECT_NEAR(volume.level(5s, start + 240ms), 0.4, 1e-9);
    EXPECT_EQ(volume.level(5s, start + 281ms), 0);
    volume.ramp_to(1, 0s, start + 300ms);
    EXPECT_EQ(volume.level(5s, start + 300ms), 1);
}

TEST(fade, multiplies_the_fade_of_the_track_and_the_ramp)
{
    fade volume{2s, 0s};
    volume.ramp_to(0, 100ms, start);
    EXPECT_NEAR(volume.level(1s, start + 50ms), 0.25, 1e-9);
}
