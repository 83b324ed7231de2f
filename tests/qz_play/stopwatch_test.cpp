#include "session/stopwatch.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using seconds = stopwatch::seconds;

namespace
{

constexpr stopwatch::clock::time_point start{1h};

class stopwatch_at_one_second : public ::testing::Test
{
protected:
    stopwatch_at_one_second()
    {
        watch.start(start);
        watch.look(start + 1s);
    }

    stopwatch watch;
};

} // namespace

TEST_F(stopwatch_at_one_second, counts_while_it_runs)
{
    watch.stop(start + 2s);
    EXPECT_EQ(watch.elapsed(start + 9s), 2s);
    watch.start(start + 10s);
    EXPECT_EQ(watch.elapsed(start + 11s), 3s);
}

TEST_F(stopwatch_at_one_second, takes_back_a_stop_that_nobody_has_looked_behind)
{
    watch.take_back_stop(start + 61s);
    EXPECT_EQ(watch.elapsed(start + 61s), 1s);
    EXPECT_EQ(watch.elapsed(start + 62s), 2s);
}

TEST_F(stopwatch_at_one_second, takes_back_a_stop_that_was_looked_behind)
{
    watch.look(start + 61s);
    watch.take_back_stop(start + 61s);
    EXPECT_EQ(watch.elapsed(start + 61s), 1s);
}

TEST_F(stopwatch_at_one_second, takes_back_a_stop_that_was_looked_behind_often)
{
    watch.look(start + 61s);
    watch.look(start + 62s);
    watch.look(start + 63s);
    watch.take_back_stop(start + 63s);
    EXPECT_EQ(watch.elapsed(start + 63s), 3s);
}

TEST_F(stopwatch_at_one_second, takes_back_no_step_of_long_ago)
{
    watch.look(start + 61s);
    for (auto now = start + 62s; now <= start + 70s; now += 1s) {
        watch.look(now);
    }
    watch.take_back_stop(start + 70s);
    EXPECT_EQ(watch.elapsed(start + 70s), 69s);
}

TEST_F(stopwatch_at_one_second, takes_back_nothing_of_a_stop_for_which_it_did_not_run)
{
    watch.stop(start + 1s);
    watch.take_back_stop(start + 61s);
    EXPECT_EQ(watch.elapsed(start + 61s), 1s);
}
