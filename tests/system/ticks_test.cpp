#include "captured_output.h"
#include "service_test.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <malloc.h>

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace
{

void let_pass(milliseconds time)
{
    std::this_thread::sleep_for(time);
}

/// Waits until an interval of its own has ticked so often: others had their chance.
void let_tick(const service_ptr& service, int count)
{
    const auto done = std::make_shared<event>();
    set_interval(
        service,
        [done, count]() mutable {
            if (--count == 0) {
                done->set();
            }
            return count > 0;
        },
        1);
    ASSERT_TRUE(done->wait());
}

class TicksTest : public ServiceTest
{
protected:
    /// An interval that notes each tick, and goes on.
    unsigned long note_ticks(unsigned long period = 1)
    {
        return set_interval(
            service,
            [this] {
                log.note("tick");
                return true;
            },
            period);
    }

    void note_one_tick(const std::string& entry = "tick")
    {
        set_interval(
            service,
            [this, entry] {
                log.note(entry);
                return false;
            },
            1);
    }

    /// Lets an interval tick `count` times; the first tick calls `first`. Returns when each tick began.
    [[nodiscard]] std::vector<steady_clock::time_point> starts_of_ticks(
        std::size_t count, milliseconds period, const std::function<void()>& first = [] {})
    {
        std::vector<steady_clock::time_point> starts;
        event done;
        set_interval(
            service,
            [&] {
                starts.push_back(steady_clock::now());
                if (starts.size() == 1) {
                    first();
                }
                const bool again = starts.size() < count;
                if (!again) {
                    done.set();
                }
                return again;
            },
            static_cast<unsigned long>(period.count()));
        EXPECT_TRUE(done.wait());
        return starts;
    }

    void note(const std::string& entry)
    {
        post(service, [this, entry] { log.note(entry); });
    }
};

} // namespace

TEST_F(TicksTest, RunOnTheServicesThread)
{
    pid_t ticks = 0;
    pid_t tasks = 0;
    event done;
    set_interval(
        service,
        [&] {
            ticks = thread_id();
            done.set();
            return false;
        },
        1);
    ASSERT_TRUE(done.wait());
    run(service, [&tasks] { tasks = thread_id(); });
    EXPECT_EQ(ticks, tasks);
}

TEST_F(TicksTest, GoOnUntilTheyReturnFalse)
{
    int count = 0;
    set_interval(
        service, [&count] { return ++count < 5; }, 1);
    let_tick(service, 20);
    run(service);
    EXPECT_EQ(count, 5);
}

TEST_F(TicksTest, LastTickDestroysItsClosure)
{
    event gone;
    set_interval(
        service, [end = at_end([&gone] { gone.set(); })] { return false; }, 1);
    EXPECT_TRUE(gone.wait());
}

TEST_F(TicksTest, ComeNoEarlierThanTheirPeriods)
{
    constexpr milliseconds period{5};
    const auto set_at = steady_clock::now();
    const auto starts = starts_of_ticks(5, period);
    for (std::size_t tick = 0; tick < starts.size(); ++tick) {
        EXPECT_GE(starts[tick], set_at + (tick + 1) * period);
    }
}

TEST_F(TicksTest, DueOneQueuesBehindTasksThatWait)
{
    busy blocked(service);
    note("first");
    note("second");
    note_one_tick();
    let_pass(milliseconds(5));
    blocked.end();
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_THAT(log.entries(), ElementsAre("first", "second", "tick"));
}

TEST_F(TicksTest, DueOneGoesBeforeTasksThatComeLater)
{
    busy blocked(service);
    note_one_tick();
    let_pass(milliseconds(5));
    note("later");
    blocked.end();
    run(service);
    EXPECT_THAT(log.entries(), ElementsAre("tick", "later"));
}

TEST_F(TicksTest, DueOnesKeepTheirPlacesAmongTasks)
{
    busy blocked(service);
    note("first");
    note("second");
    note_one_tick("tick");
    let_pass(milliseconds(5));
    note("third");
    note_one_tick("other tick");
    let_pass(milliseconds(5));
    note("fourth");
    blocked.end();
    run(service);
    EXPECT_THAT(log.entries(),
                ElementsAre("first", "second", "tick", "third", "other tick", "fourth"));
}

TEST_F(TicksTest, RunOneOnlyKeepsTheirPlacesAmongTasks)
{
    busy blocked(service);
    post(service, [this] {
        note("posted meanwhile");
        for (int jobs = 0; jobs < 3; ++jobs) {
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        }
        log.note("outer ends");
    });
    note("first");
    note_one_tick();
    let_pass(milliseconds(5));
    note("second");
    blocked.end();
    ASSERT_TRUE(log.wait_for(5));
    EXPECT_THAT(log.entries(),
                ElementsAre("first", "tick", "second", "outer ends", "posted meanwhile"));
}

TEST_F(TicksTest, LongTaskLeavesOneTickOnly)
{
    busy blocked(service);
    const auto id = note_ticks();
    let_pass(milliseconds(30));
    note("after the task");
    post(service, [this, id] { qz_thread_service_clear_interval(service, id); });
    blocked.end();
    run(service);
    EXPECT_THAT(log.entries(), ElementsAre("tick", "after the task"));
}

// Bounds from below only: however slow the machine, no tick may come before its time.
TEST_F(TicksTest, LateOnesAreNotCaughtUpOn)
{
    constexpr milliseconds period{5};
    steady_clock::time_point end_of_first;
    const auto starts = starts_of_ticks(12, period, [&end_of_first, period] {
        let_pass(20 * period);
        end_of_first = steady_clock::now();
    });
    for (std::size_t tick = 1; tick < starts.size(); ++tick) {
        EXPECT_GE(starts[tick], end_of_first + (tick - 1) * period);
    }
}

TEST_F(TicksTest, PeriodIsMeasuredFromTheStartOfTheTickBefore)
{
    constexpr milliseconds period{300};
    event done;
    int ticks = 0;
    set_interval(
        service,
        [&] {
            if (++ticks == 1) {
                let_pass(period);
                post(service, [&] {
                    // Measured from the end of the first tick it would not be due yet.
                    EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
                    EXPECT_EQ(ticks, 2);
                    done.set();
                });
            }
            return ticks < 2;
        },
        period.count());
    ASSERT_TRUE(done.wait());
    stop(service);
}

TEST_F(TicksTest, RunOneOnlyCountsADueTick)
{
    run(service, [this] {
        const auto id = note_ticks();
        let_pass(milliseconds(5));
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        EXPECT_THAT(log.entries(), ElementsAre("tick"));
        qz_thread_service_clear_interval(service, id);
    });
}

TEST_F(TicksTest, RunOneOnlyInsideATickRunsTasksAndOtherTicks)
{
    event done;
    set_interval(
        service,
        [&] {
            note("task");
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
            note_one_tick("other tick");
            let_pass(milliseconds(5));
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
            done.set();
            return false;
        },
        1);
    ASSERT_TRUE(done.wait());
    EXPECT_THAT(log.entries(), ElementsAre("task", "other tick"));
}

TEST_F(TicksTest, ThatThrowEndTheirInterval)
{
    captured_output output;
    int count = 0;
    set_interval(
        service,
        [&count]() -> bool {
            ++count;
            throw std::runtime_error("tick failed");
        },
        1);
    ASSERT_TRUE(output.wait_for_lines(1));
    let_tick(service, 20);
    run(service);
    EXPECT_EQ(count, 1);
}

// Clearing.

TEST_F(TicksTest, NoneComesAfterAClear)
{
    const auto id = note_ticks();
    ASSERT_TRUE(log.wait_for(3));
    run(service, [this, id] { qz_thread_service_clear_interval(service, id); });
    const auto count = log.entries().size();
    let_tick(service, 20);
    EXPECT_EQ(log.entries().size(), count);
}

TEST_F(TicksTest, ClearedWhileQueuedIsNeverCalled)
{
    busy blocked(service);
    const auto id = note_ticks();
    let_pass(milliseconds(5));
    note("task behind the tick");
    qz_thread_service_clear_interval(service, id);
    blocked.end();
    let_tick(service, 20);
    EXPECT_THAT(log.entries(), ElementsAre("task behind the tick"));
}

TEST_F(TicksTest, ClearedByATaskBeforeThemAreNeverCalled)
{
    busy blocked(service);
    const auto id = std::make_shared<unsigned long>();
    post(service, [this, id] {
        log.note("first");
        qz_thread_service_clear_interval(service, *id);
    });
    *id = note_ticks();
    let_pass(milliseconds(5));
    note("second");
    note_one_tick("other tick");
    let_pass(milliseconds(5));
    note("third");
    blocked.end();
    run(service);
    EXPECT_THAT(log.entries(), ElementsAre("first", "second", "other tick", "third"));
}

TEST_F(TicksTest, ClearDestroysTheClosure)
{
    bool gone = false;
    const auto id = set_interval(
        service, [end = at_end([&gone] { gone = true; })] { return true; }, one_day);
    EXPECT_FALSE(gone);
    qz_thread_service_clear_interval(service, id);
    EXPECT_TRUE(gone);
}

TEST_F(TicksTest, ClearFromInsideTheTickEndsTheInterval)
{
    unsigned long id = 0;
    int count = 0;
    bool gone = false;
    run(service, [&] {
        id = set_interval(
            service,
            [&, end = at_end([&gone] { gone = true; })] {
                ++count;
                qz_thread_service_clear_interval(service, id);
                EXPECT_FALSE(gone);
                return true;
            },
            1);
    });
    let_tick(service, 20);
    run(service);
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(gone);
}

TEST_F(TicksTest, ClearByAnotherThreadWhileTheTickRunsLetsItFinish)
{
    event entered;
    event cleared;
    int count = 0;
    const auto id = set_interval(
        service,
        [&] {
            ++count;
            entered.set();
            EXPECT_TRUE(cleared.wait());
            return true;
        },
        1);
    ASSERT_TRUE(entered.wait());
    qz_thread_service_clear_interval(service, id);
    cleared.set();
    let_tick(service, 20);
    run(service);
    EXPECT_EQ(count, 1);
}

TEST_F(TicksTest, TickMayReplaceItsOwnInterval)
{
    unsigned long id = 0;
    event done;
    run(service, [&] {
        id = set_interval(
            service,
            [&] {
                qz_thread_service_clear_interval(service, id);
                id = set_interval(
                    service,
                    [&] {
                        done.set();
                        return false;
                    },
                    1);
                return true;
            },
            1);
    });
    EXPECT_TRUE(done.wait());
}

TEST_F(TicksTest, StaleAndUnknownIdsAreIgnored)
{
    event ended;
    const auto stale = set_interval(
        service,
        [&] {
            ended.set();
            return false;
        },
        1);
    ASSERT_TRUE(ended.wait());
    run(service);
    note_ticks();
    for (const auto id : {0UL, stale, stale + 1000, ULONG_MAX}) {
        qz_thread_service_clear_interval(service, id);
    }
    EXPECT_TRUE(log.wait_for(3));
    stop(service);
}

TEST_F(TicksTest, IdsAreNeverZeroAndNeverUsedAgain)
{
    std::set<unsigned long> ids;
    const auto remember = [&ids](unsigned long id) {
        EXPECT_NE(id, 0U);
        EXPECT_TRUE(ids.insert(id).second) << id;
    };
    for (int round = 0; round < 500; ++round) {
        const auto id = set_interval(
            service, [] { return true; }, one_day);
        remember(id);
        qz_thread_service_clear_interval(service, id);
        remember(set_interval(
            service, [] { return false; }, 0));
    }
    let_tick(service, 5);
    remember(set_interval(
        service, [] { return true; }, one_day));
    stop(service);
    remember(set_interval(
        service, [] { return true; }, one_day));
}

// Periods at the ends of the scale.

TEST_F(TicksTest, PeriodOfZeroTicksButLetsTheThreadBreathe)
{
    note_ticks(0);
    ASSERT_TRUE(log.wait_for(3));
    run(service, [this] {
        constexpr int many = 100000;
        int ran = 0;
        while (ran < many && qz_thread_service_run_one_only(service) != 0) {
            ++ran;
        }
        EXPECT_LT(ran, many) << "a tick is always due";
    });
    stop(service);
}

class TicksNeverTest : public TicksTest, public testing::WithParamInterface<long>
{
};

TEST_P(TicksNeverTest, NegativePeriodNeverComes)
{
    const auto id = note_ticks(static_cast<unsigned long>(GetParam()));
    EXPECT_NE(id, 0U);
    let_tick(service, 20);
    run(service, [this] { EXPECT_EQ(qz_thread_service_run_one_only(service), 0); });
    EXPECT_THAT(log.entries(), testing::IsEmpty());
    qz_thread_service_clear_interval(service, id);
}

INSTANTIATE_TEST_SUITE_P(Periods, TicksNeverTest,
                         testing::Values(-1L, -500L, long{INT_MIN}, LONG_MIN, LONG_MIN + 1,
                                         LONG_MAX, LONG_MAX / 1000, LONG_MAX / 1000000));

TEST_F(TicksTest, IntervalsThatNeverComeDoNotHoldUpOthers)
{
    note_ticks(ULONG_MAX);
    note_ticks(one_day);
    let_tick(service, 5);
    EXPECT_THAT(log.entries(), testing::IsEmpty());
    stop(service);
}

TEST_F(TicksTest, ManyIntervalsAtOnce)
{
    constexpr int intervals = 100;
    std::vector<int> counts(intervals);
    event done;
    int ended = 0;
    run(service, [&] {
        for (int number = 0; number < intervals; ++number) {
            set_interval(
                service,
                [&, number] {
                    const bool again = ++counts[static_cast<std::size_t>(number)] < 10;
                    if (!again && ++ended == intervals) {
                        done.set();
                    }
                    return again;
                },
                static_cast<unsigned long>(number % 4));
        }
    });
    ASSERT_TRUE(done.wait());
    EXPECT_THAT(counts, testing::Each(10));
}

TEST_F(TicksTest, IntervalsThatHaveEndedKeepNoMemory)
{
    constexpr int count = 2'000;
    let_tick(service, 1);
    const std::size_t before = mallinfo2().uordblks;
    for (int number = 0; number < count; ++number) {
        set_interval(
            service, [] { return false; }, 0);
    }
    const auto bytes_of_an_interval = std::size_t{count} * sizeof(std::function<bool()>);
    EXPECT_TRUE(wait_until([&] { return mallinfo2().uordblks < before + bytes_of_an_interval; }));
}
