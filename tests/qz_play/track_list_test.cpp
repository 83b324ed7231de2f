#include "playlist/track_list.h"

#include <gmock/gmock.h>

#include <set>

namespace
{

/// Returns what is played from here to the end of the list.
std::vector<std::string> rest_of(track_list tracks)
{
    std::vector<std::string> played{tracks.current()};
    while (tracks.has_next()) {
        tracks.go_to_next();
        played.push_back(tracks.current());
    }
    return played;
}

track_list five_tracks(std::size_t first = 0, unsigned seed = 7)
{
    return track_list({"a", "b", "c", "d", "e"}, first, seed);
}

} // namespace

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

TEST(track_list, goes_from_first_to_last)
{
    EXPECT_THAT(rest_of(five_tracks()), ElementsAre("a", "b", "c", "d", "e"));
    EXPECT_FALSE(five_tracks().has_previous());
}

TEST(track_list, begins_where_it_is_told)
{
    EXPECT_THAT(rest_of(five_tracks(3)), ElementsAre("d", "e"));
    EXPECT_TRUE(five_tracks(3).has_previous());
}

TEST(track_list, that_loops_has_no_ends)
{
    track_list tracks = five_tracks();
    tracks.set_loop(true);
    ASSERT_TRUE(tracks.has_previous());
    tracks.go_to_previous();
    EXPECT_EQ(tracks.current(), "e");
    ASSERT_TRUE(tracks.has_next());
    tracks.go_to_next();
    EXPECT_EQ(tracks.current(), "a");
}

TEST(track_list, shuffled_plays_each_track_once_from_the_current_one)
{
    track_list tracks = five_tracks(2);
    tracks.set_shuffle(true);
    EXPECT_EQ(tracks.current(), "c");
    EXPECT_EQ(tracks.number(), 2U);
    EXPECT_THAT(rest_of(tracks), UnorderedElementsAre("a", "b", "c", "d", "e"));
}

TEST(track_list, shuffled_is_so_by_chance)
{
    std::set<std::vector<std::string>> orders;
    for (unsigned seed = 0; seed < 20; ++seed) {
        track_list tracks = five_tracks(2, seed);
        tracks.set_shuffle(true);
        orders.insert(rest_of(tracks));
    }
    EXPECT_GT(orders.size(), 1U);
}

TEST(track_list, no_longer_shuffled_goes_on_in_order)
{
    track_list tracks = five_tracks(2);
    tracks.set_shuffle(true);
    tracks.set_shuffle(false);
    EXPECT_THAT(rest_of(tracks), ElementsAre("c", "d", "e"));
}

TEST(track_list, plays_inserted_tracks_at_once_and_then_goes_on)
{
    track_list tracks = five_tracks(3);
    tracks.insert({"new", "newer"});
    EXPECT_THAT(rest_of(tracks), ElementsAre("new", "newer", "e"));
    tracks.go_to_previous();
    EXPECT_EQ(tracks.current(), "d");
}
