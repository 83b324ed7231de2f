#include "session/volume_curve.h"

#include <gtest/gtest.h>

namespace
{

using seconds = volume_curve::seconds;

options with_fades(double fade_in, double fade_out)
{
    options chosen;
    chosen.fade_in = seconds(fade_in);
    chosen.fade_out = seconds(fade_out);
    return chosen;
}

track of_length(double length)
{
    return {"track", track::extent{seconds(length), 0}, {}};
}

const track of_unknown_length{"track", std::nullopt, {}};

} // namespace

TEST(volume_curve, without_fades_is_flat_for_ever)
{
    const volume_curve curve(with_fades(0, 0), of_length(10));
    for (const double time : {0.0, 5.0, 10.0, 11.0}) {
        EXPECT_DOUBLE_EQ(curve.level_at(seconds(time)), 1);
        EXPECT_FALSE(curve.steady_for(seconds(time)));
    }
}

TEST(volume_curve, rises_and_falls)
{
    const volume_curve curve(with_fades(2, 4), of_length(10));
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(0)), 0);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(1)), 0.5);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(2)), 1);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(6)), 1);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(8)), 0.5);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(10)), 0);
}

TEST(volume_curve, asks_to_be_looked_at_when_it_moves)
{
    const volume_curve curve(with_fades(2, 4), of_length(10));
    EXPECT_LE(*curve.steady_for(seconds(1)), seconds(0.05));
    EXPECT_EQ(*curve.steady_for(seconds(3)), seconds(3));
    EXPECT_LE(*curve.steady_for(seconds(7)), seconds(0.05));
}

TEST(volume_curve, of_a_track_shorter_than_its_fades_stays_below_both)
{
    const volume_curve curve(with_fades(4, 4), of_length(4));
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(0)), 0);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(2)), 0.5);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(4)), 0);
}

TEST(volume_curve, of_unknown_length_does_not_fall)
{
    const volume_curve curve(with_fades(2, 4), of_unknown_length);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(1)), 0.5);
    EXPECT_DOUBLE_EQ(curve.level_at(seconds(1000)), 1);
    EXPECT_FALSE(curve.steady_for(seconds(1000)));
}
