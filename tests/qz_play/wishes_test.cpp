#include "session/wishes.h"

#include <gtest/gtest.h>

TEST(wishes, to_pause_count_for_what_is_not_stopped)
{
    wishes wanted(100);
    EXPECT_EQ(wanted.state(), play_state::playing);
    wanted.pause();
    EXPECT_EQ(wanted.state(), play_state::paused);
    wanted.stop();
    wanted.pause();
    EXPECT_EQ(wanted.state(), play_state::stopped);
    wanted.play();
    EXPECT_EQ(wanted.state(), play_state::playing);
}

TEST(wishes, for_a_volume_stay_within_bounds)
{
    wishes wanted(40);
    EXPECT_EQ(wanted.volume(), 40);
    wanted.set_volume(101);
    EXPECT_EQ(wanted.volume(), 100);
    wanted.set_volume(-1);
    EXPECT_EQ(wanted.volume(), 0);
}

TEST(wishes, for_silence_keep_the_volume_and_end_with_another)
{
    wishes wanted(40);
    wanted.toggle_mute();
    EXPECT_EQ(wanted.sounding_volume(), 0);
    EXPECT_EQ(wanted.volume(), 40);
    wanted.toggle_mute();
    EXPECT_EQ(wanted.sounding_volume(), 40);
    wanted.toggle_mute();
    wanted.set_volume(45);
    EXPECT_FALSE(wanted.muted());
    EXPECT_EQ(wanted.sounding_volume(), 45);
}

TEST(wishes, for_a_loop_go_round)
{
    EXPECT_EQ(next_loop_mode(loop_mode::none), loop_mode::track);
    EXPECT_EQ(next_loop_mode(loop_mode::track), loop_mode::list);
    EXPECT_EQ(next_loop_mode(loop_mode::list), loop_mode::none);
}
