#include "snapshot.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using seconds = snapshot::seconds;

TEST(snapshot, position_advances_with_the_sound_and_stays_within_the_track)
{
    struct position_case {
        bool is_advancing;
        loop_mode loop;
        std::optional<seconds> length;
        seconds after;
        seconds expected;
    };
    constexpr auto none = loop_mode::none;
    constexpr auto track = loop_mode::track;
    for (const position_case& each : {position_case{true, none, 10s, 3s, 7s},
                                      {false, none, 10s, 3s, 4s},
                                      {true, none, 10s, 8s, 10s},
                                      {true, track, 10s, 8s, 2s},
                                      {true, track, {}, 8s, 12s},
                                      {true, track, 0s, 8s, 12s}}) {
        snapshot shown;
        shown.is_advancing = each.is_advancing;
        shown.loop = each.loop;
        shown.length = each.length;
        shown.position = 4s;
        shown.taken = snapshot::clock::time_point(1h);
        const auto now = shown.taken + std::chrono::ceil<snapshot::clock::duration>(each.after);
        EXPECT_EQ(shown.position_at(now), each.expected);
    }
}
