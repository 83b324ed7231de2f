#include "session/output_watch.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using duty = output_watch::duty;

namespace
{

constexpr output_watch::clock::time_point start{1h};

/// Looks as often as asked for, for a time; returns the last duty.
duty look_for(output_watch& watch, output_watch::clock::time_point from, std::chrono::seconds time,
              bool answers)
{
    duty last = duty::none;
    for (auto now = from; now <= from + time; now += 500ms) {
        last = watch.look(now);
        if (answers && last == duty::ask) {
            watch.answered(now);
        }
    }
    return last;
}

/// Asks on until the player does not answer at once, or rushes; returns how often.
int questions_at_once(output_watch& watch, output_watch::clock::time_point& now, int answers)
{
    int asked = 0;
    while (watch.look(now) == duty::ask && !watch.rushes()) {
        ++asked;
        now += asked <= answers ? 200us : 26ms;
        watch.answered(now);
    }
    return asked;
}

} // namespace

TEST(output_watch, asks_once_a_period)
{
    output_watch watch;
    watch.answered(start);
    EXPECT_EQ(watch.look(start), duty::ask);
    EXPECT_EQ(watch.look(start + 500ms), duty::none);
    EXPECT_EQ(watch.look(start + 1s), duty::ask);
}

TEST(output_watch, is_content_with_answers)
{
    output_watch watch;
    EXPECT_NE(look_for(watch, start, 60s, true), duty::give_up);
}

TEST(output_watch, gives_up_after_a_long_silence)
{
    output_watch watch;
    look_for(watch, start, 10s, true);
    EXPECT_NE(look_for(watch, start + 10s, 9s, false), duty::give_up);
    EXPECT_EQ(look_for(watch, start + 19s, 2s, false), duty::give_up);
}

TEST(output_watch, gives_up_also_where_it_awaits_an_answer_and_asks_nothing)
{
    output_watch watch;
    EXPECT_EQ(watch.await(start), duty::none);
    for (auto now = start; now <= start + 10s; now += 1s) {
        EXPECT_EQ(watch.await(now), duty::none);
    }
    EXPECT_EQ(watch.await(start + 11s), duty::give_up);
}

TEST(output_watch, sees_an_output_that_waits_for_no_block)
{
    output_watch watch;
    watch.answered(start);
    auto now = start;
    EXPECT_EQ(questions_at_once(watch, now, 2000), 1000);
    EXPECT_TRUE(watch.rushes());
}

TEST(output_watch, sees_that_a_part_of_a_track_was_not_heard)
{
    EXPECT_TRUE(output_watch::is_too_soon(0s, 20s));
    EXPECT_TRUE(output_watch::is_too_soon(14s, 20s));
    EXPECT_TRUE(output_watch::is_too_soon(3000s, 3600s));
}

TEST(output_watch, does_not_mind_what_is_in_a_buffer_or_a_clock_that_differs)
{
    EXPECT_FALSE(output_watch::is_too_soon(0s, 1s));
    EXPECT_FALSE(output_watch::is_too_soon(18s, 20s));
    EXPECT_FALSE(output_watch::is_too_soon(3550s, 3600s));
}

TEST(output_watch, does_not_mind_an_output_that_fills_its_buffer)
{
    output_watch watch;
    watch.answered(start);
    auto now = start;
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(questions_at_once(watch, now, 300), 301);
        EXPECT_FALSE(watch.rushes());
        now += 1s;
    }
}

TEST(output_watch, takes_an_answer_to_something_else_for_no_second_one)
{
    output_watch watch;
    watch.answered(start);
    EXPECT_EQ(watch.look(start), duty::ask);
    for (int answer = 0; answer < 2000; ++answer) {
        watch.answered(start + 1ms);
    }
    EXPECT_FALSE(watch.rushes());
}

TEST(output_watch, holds_no_silence_against_the_player_that_it_did_not_hear)
{
    output_watch watch;
    look_for(watch, start, 10s, true);
    EXPECT_NE(watch.look(start + 100s), duty::give_up);
}
