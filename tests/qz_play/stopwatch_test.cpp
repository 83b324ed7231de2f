#include "stopwatch.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace
{

constexpr stopwatch::clock::time_point start{1h};

} // namespace

TEST(stopwatch, counts_while_it_runs_and_can_be_set)
{
    stopwatch watch;
    watch.set_running(true, start);
    watch.set_running(true, start + 1s);
    watch.set_running(false, start + 2s);
    EXPECT_EQ(watch.elapsed(start + 9s), 2s);
    watch.set_running(true, start + 10s);
    EXPECT_EQ(watch.elapsed(start + 11s), 3s);
    watch.set(10s, start + 15s);
    EXPECT_EQ(watch.elapsed(start + 16s), 11s);
}

TEST(stopwatch, discards_the_time_since_the_last_call_while_it_runs)
{
    stopwatch watch;
    watch.set_running(true, start);
    watch.elapsed(start + 1s);
    watch.discard_unrecorded(start + 61s);
    EXPECT_EQ(watch.elapsed(start + 62s), 2s);
    watch.set_running(false, start + 62s);
    watch.discard_unrecorded(start + 99s);
    EXPECT_EQ(watch.elapsed(start + 99s), 2s);
}
