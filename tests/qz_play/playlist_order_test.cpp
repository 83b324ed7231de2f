#include "playlist.h"

#include <gmock/gmock.h>

#include <set>

using ::testing::ElementsAre;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

namespace
{

using strings = std::vector<std::string>;

/// Returns what is played from the current track to the end of the list.
strings played_from_here(playlist tracks)
{
    strings played{tracks.current()};
    while (tracks.has_next()) {
        tracks.go_to_next();
        played.push_back(tracks.current());
    }
    return played;
}

strings played_in_a_round(playlist& tracks)
{
    strings played;
    while (played.size() < tracks.size()) {
        played.push_back(tracks.current());
        tracks.go_to_next();
    }
    return played;
}

playlist five_tracks(std::optional<std::size_t> first = {}, bool shuffled = false,
                     unsigned seed = 7)
{
    return playlist({"a", "b", "c", "d", "e"}, first, shuffled, seed);
}

} // namespace

TEST(playlist_order, goes_from_the_chosen_track_to_the_last)
{
    EXPECT_THAT(played_from_here(five_tracks()), ElementsAre("a", "b", "c", "d", "e"));
    EXPECT_FALSE(five_tracks().has_previous());
    playlist tracks = five_tracks(3);
    EXPECT_THAT(played_from_here(tracks), ElementsAre("d", "e"));
    EXPECT_TRUE(tracks.has_previous());
    tracks.jump(1);
    EXPECT_EQ(tracks.current_index(), 1U);
    EXPECT_THAT(played_from_here(tracks), ElementsAre("b", "c", "d", "e"));
}

TEST(playlist_order, has_no_ends_if_it_loops)
{
    playlist tracks = five_tracks();
    tracks.set_loop(true);
    ASSERT_TRUE(tracks.has_previous());
    tracks.go_to_previous();
    EXPECT_EQ(tracks.current(), "e");
    ASSERT_TRUE(tracks.has_next());
    tracks.go_to_next();
    EXPECT_EQ(tracks.current(), "a");
}

TEST(playlist_order, shuffled_plays_each_track_once_from_the_current_one)
{
    playlist tracks = five_tracks(2);
    tracks.set_shuffle(true);
    EXPECT_TRUE(tracks.is_shuffled());
    EXPECT_EQ(tracks.current_index(), 2U);
    EXPECT_THAT(played_from_here(tracks), UnorderedElementsAre("a", "b", "c", "d", "e"));
    tracks.set_shuffle(false);
    EXPECT_THAT(played_from_here(tracks), ElementsAre("c", "d", "e"));
}

TEST(playlist_order, shuffled_from_the_start_begins_with_the_chosen_track_or_any)
{
    std::set<std::string> firsts;
    std::set<strings> orders;
    for (unsigned seed = 0; seed < 50; ++seed) {
        const strings chosen = played_from_here(five_tracks(3, true, seed));
        EXPECT_EQ(chosen.front(), "d");
        orders.insert(chosen);
        const playlist tracks = five_tracks({}, true, seed);
        EXPECT_THAT(played_from_here(tracks), UnorderedElementsAre("a", "b", "c", "d", "e"));
        firsts.insert(tracks.current());
    }
    EXPECT_EQ(firsts.size(), 5U);
    EXPECT_GT(orders.size(), 5U);
}

TEST(playlist_order, shuffled_is_another_one_in_each_round_of_a_loop)
{
    playlist tracks = five_tracks(2, true);
    tracks.set_loop(true);
    std::set<strings> orders;
    std::string last;
    for (int round = 0; round < 50; ++round) {
        const strings order = played_in_a_round(tracks);
        EXPECT_THAT(order, UnorderedElementsAre("a", "b", "c", "d", "e"));
        EXPECT_NE(order.front(), last);
        orders.insert(order);
        last = order.back();
    }
    EXPECT_GT(orders.size(), 10U);
}

TEST(playlist_order, of_one_shuffled_track_loops_and_of_none_is_empty)
{
    playlist tracks({"a"}, {}, true);
    tracks.set_loop(true);
    EXPECT_THAT(played_in_a_round(tracks), ElementsAre("a"));
    EXPECT_EQ(tracks.current(), "a");
    EXPECT_EQ(playlist().size(), 0U);
    EXPECT_EQ(playlist({}, {}, true).size(), 0U);
}

TEST(playlist_order, shuffled_leaves_no_track_out_after_a_jump_ahead)
{
    for (std::size_t number = 0; number < 5; ++number) {
        playlist tracks = five_tracks(2, true);
        tracks.jump(number);
        EXPECT_EQ(tracks.current_index(), number);
        strings played = played_from_here(tracks);
        if (number != 2) {
            EXPECT_THAT(played, SizeIs(4));
            played.emplace_back("c");
        }
        EXPECT_THAT(played, UnorderedElementsAre("a", "b", "c", "d", "e"));
    }
}

TEST(playlist_order, shuffled_plays_a_track_again_after_a_jump_back)
{
    playlist tracks = five_tracks(2, true);
    tracks.go_to_next();
    tracks.go_to_next();
    const std::string former = tracks.current();
    tracks.jump(2);
    EXPECT_EQ(tracks.current(), "c");
    EXPECT_THAT(played_from_here(tracks), SizeIs(3));
    tracks.go_to_previous();
    EXPECT_EQ(tracks.current(), former);
}

TEST(playlist_order, plays_inserted_tracks_at_once_and_then_goes_on)
{
    playlist tracks = five_tracks(3);
    tracks.insert({"new", "newer"});
    EXPECT_EQ(tracks.current_index(), 4U);
    EXPECT_EQ(tracks.path(6), "e");
    EXPECT_THAT(played_from_here(tracks), ElementsAre("new", "newer", "e"));
    tracks.go_to_previous();
    EXPECT_EQ(tracks.current(), "d");
    playlist shuffled = five_tracks(2, true);
    shuffled.insert({"new", "newer"});
    const strings played = played_from_here(shuffled);
    EXPECT_THAT(strings(played.begin(), played.begin() + 2), ElementsAre("new", "newer"));
    EXPECT_THAT(played, UnorderedElementsAre("new", "newer", "a", "b", "d", "e"));
    shuffled.set_shuffle(false);
    EXPECT_THAT(played_from_here(shuffled), ElementsAre("new", "newer", "d", "e"));
}
