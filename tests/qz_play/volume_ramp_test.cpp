#include "session/volume_ramp.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

constexpr volume_ramp::clock::time_point start{1h};

} // namespace

TEST(volume_ramp, rests_at_full_volume)
{
    const volume_ramp ramp;
    EXPECT_EQ(ramp.level(start), 1);
    EXPECT_FALSE(ramp.moving(start));
}

TEST(volume_ramp, falls_evenly_and_exactly_to_silence)
{
    volume_ramp ramp;
    ramp.move(0, 100ms, start);
    EXPECT_EQ(ramp.level(start), 1);
    EXPECT_NEAR(ramp.level(start + 25ms), 0.75, 1e-9);
    EXPECT_TRUE(ramp.moving(start + 99ms));
    EXPECT_EQ(ramp.level(start + 100ms), 0);
    EXPECT_FALSE(ramp.moving(start + 200ms));
}

TEST(volume_ramp, turns_round_where_it_is_and_ends_exactly_at_full_volume)
{
    volume_ramp ramp;
    ramp.move(0, 100ms, start);
    ramp.move(1, 100ms, start + 60ms);
    EXPECT_NEAR(ramp.level(start + 60ms), 0.4, 1e-9);
    EXPECT_NEAR(ramp.level(start + 80ms), 0.6, 1e-9);
    EXPECT_EQ(ramp.level(start + 121ms), 1);
}

TEST(volume_ramp, without_a_length_jumps)
{
    volume_ramp ramp;
    ramp.move(0, 0ms, start);
    EXPECT_EQ(ramp.level(start), 0);
    EXPECT_FALSE(ramp.moving(start));
}
