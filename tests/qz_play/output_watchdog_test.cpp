#include "output_watchdog.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using verdict = output_watchdog::verdict;
using time_point = output_watchdog::clock::time_point;

namespace
{

constexpr time_point start{1h};

/// Checks every half a second; returns the last verdict.
verdict check_for(output_watchdog& watchdog, std::chrono::seconds time, bool waits, bool answers)
{
    verdict last = verdict::fine;
    for (time_point now = start; now <= start + time && last != verdict::hangs; now += 500ms) {
        last = watchdog.check(now, waits);
        EXPECT_FALSE(waits && last == verdict::ping);
        if (answers && last == verdict::ping) {
            watchdog.on_answer(now + 26ms);
        }
    }
    return last;
}

/// Pings until the player does not answer at once, or is_too_fast; returns how often.
int pings_at_once(output_watchdog& watchdog, time_point& now, int answers)
{
    int pings = 0;
    while (watchdog.check(now, false) == verdict::ping && !watchdog.is_too_fast()) {
        ++pings;
        const bool at_once = pings <= answers;
        watchdog.on_answer(now + (at_once ? 200us : 26ms));
        now += at_once ? 4ms : 26ms;
    }
    return pings;
}

} // namespace

TEST(output_watchdog, pings_once_a_period)
{
    output_watchdog watchdog;
    EXPECT_EQ(watchdog.check(start, false), verdict::ping);
    watchdog.on_answer(start + 26ms);
    EXPECT_EQ(watchdog.check(start + output_watchdog::period - 1ms, false), verdict::fine);
    EXPECT_EQ(watchdog.deadline(), start + output_watchdog::period);
    EXPECT_EQ(watchdog.check(start + output_watchdog::period, false), verdict::ping);
}

TEST(output_watchdog, finds_that_a_ping_or_something_else_is_not_answered)
{
    output_watchdog good;
    EXPECT_NE(check_for(good, 60s, false, true), verdict::hangs);
    for (const bool waits : {false, true}) {
        output_watchdog watchdog;
        EXPECT_NE(check_for(watchdog, output_watchdog::timeout, waits, false), verdict::hangs);
        EXPECT_EQ(watchdog.check(start + output_watchdog::timeout + 1s, waits), verdict::hangs);
    }
}

TEST(output_watchdog, forgives_a_silence_for_which_the_process_was_stopped)
{
    output_watchdog watchdog;
    watchdog.check(start, true);
    EXPECT_EQ(watchdog.check(start + 100s, true), verdict::fine);
    EXPECT_EQ(watchdog.check(start + 101s, true), verdict::fine);
}

TEST(output_watchdog, finds_an_output_that_takes_every_block_at_once)
{
    output_watchdog watchdog;
    time_point now = start;
    EXPECT_EQ(pings_at_once(watchdog, now, 2000), output_watchdog::max_immediate_answers);
    EXPECT_TRUE(watchdog.is_too_fast());
}

TEST(output_watchdog, accepts_an_output_that_fills_its_buffer)
{
    output_watchdog watchdog;
    time_point now = start;
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(pings_at_once(watchdog, now, 100), 150); // Each late answer takes back two.
        EXPECT_FALSE(watchdog.is_too_fast());
        now += output_watchdog::period;
    }
}

TEST(output_watchdog, does_not_ping_in_a_loop_with_answers_at_once)
{
    output_watchdog watchdog;
    EXPECT_EQ(watchdog.check(start, false), verdict::ping);
    watchdog.on_answer(start + 200us);
    EXPECT_EQ(watchdog.check(start + 400us, false), verdict::fine);
    EXPECT_EQ(watchdog.deadline(), start + 4ms);
}

TEST(output_watchdog, measures_an_answer_from_the_last_of_several_pings)
{
    output_watchdog watchdog;
    time_point now = start;
    for (int ping = 0; ping < output_watchdog::max_immediate_answers; ++ping) {
        EXPECT_EQ(watchdog.check(now, false), verdict::ping);
        now += 200ms;
        watchdog.on_resend(now);
        now += 1ms;
        watchdog.on_answer(now);
        now += 4ms;
    }
    EXPECT_TRUE(watchdog.is_too_fast());
}

TEST(output_watchdog, counts_one_answer_for_each_ping)
{
    output_watchdog watchdog;
    EXPECT_EQ(watchdog.check(start, false), verdict::ping);
    for (int answer = 0; answer < 2 * output_watchdog::max_immediate_answers; ++answer) {
        watchdog.on_answer(start + 1ms);
    }
    EXPECT_FALSE(watchdog.is_too_fast());
}
