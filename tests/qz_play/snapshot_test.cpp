#include "session/snapshot.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using seconds = snapshot::seconds;

namespace
{

snapshot ten_seconds_at(double position, bool sounds)
{
    snapshot told;
    told.length = seconds(10);
    told.position = seconds(position);
    told.sounds = sounds;
    told.taken = snapshot::clock::time_point(1h);
    return told;
}

} // namespace

TEST(snapshot, position_moves_with_the_sound_alone)
{
    const auto later = snapshot::clock::time_point(1h + 3s);
    EXPECT_EQ(ten_seconds_at(4, true).position_at(later), seconds(7));
    EXPECT_EQ(ten_seconds_at(4, false).position_at(later), seconds(4));
}

TEST(snapshot, position_stays_within_the_track)
{
    const auto later = snapshot::clock::time_point(1h + 8s);
    snapshot told = ten_seconds_at(4, true);
    EXPECT_EQ(told.position_at(later), seconds(10));
    told.loop = loop_mode::track;
    EXPECT_EQ(told.position_at(later), seconds(2));
}

TEST(snapshot, time_alone_changes_nothing)
{
    EXPECT_TRUE(tell_the_same(ten_seconds_at(1, true), ten_seconds_at(2, true)));
    EXPECT_FALSE(tell_the_same(ten_seconds_at(1, true), ten_seconds_at(1, false)));
}
