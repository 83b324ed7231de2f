#include "captured_output.h"
#include "on_threads.h"
#include "service_test.h"

#include <stdexcept>
#include <string>

namespace
{

class StopTest : public ServiceTest
{
protected:
    /// Stops the service; the completion notes `entry`.
    void stop_noting(const std::string& entry)
    {
        qz_thread_service_stop(service, [this, entry](const service_ptr& stopped) {
            EXPECT_EQ(stopped, service);
            log.note(entry);
        });
    }

    /// Waits until the service's thread has ended.
    [[nodiscard]] static bool wait_for_end_of_thread(std::size_t threads_before)
    {
        return wait_until([threads_before] { return thread_count() == threads_before - 1; });
    }
};

} // namespace

TEST_F(StopTest, LetsTheRunningTaskFinishBeforeTheCompletion)
{
    busy running(service, [this] { log.note("task ends"); });
    stop_noting("completion");
    EXPECT_THAT(log.entries(), testing::IsEmpty());
    running.end();
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("task ends", "completion"));
}

TEST_F(StopTest, DestroysClosuresOfWhatWaitsBeforeTheCompletion)
{
    {
        const busy blocked(service);
        post_noting(service);
        set_noting_interval(service, 1);
        stop_noting("completion");
        EXPECT_THAT(log.entries(), testing::IsEmpty());
    }
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_THAT(log.entries(), ElementsAre("task gone", "interval gone", "completion"));
}

TEST_F(StopTest, EndsARunningIntervalAfterItsTick)
{
    event entered;
    event release;
    set_interval(
        service,
        [&, end = at_end([this] { log.note("interval gone"); })] {
            entered.set();
            EXPECT_TRUE(release.wait());
            log.note("tick ends");
            return true;
        },
        1);
    ASSERT_TRUE(entered.wait());
    stop_noting("completion");
    release.set();
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_THAT(log.entries(), ElementsAre("tick ends", "interval gone", "completion"));
}

TEST_F(StopTest, RunOneOnlyReturnsZeroFromThenOn)
{
    event stopped;
    bool ran = false;
    event release;
    post(service, [&] {
        EXPECT_TRUE(release.wait());
        EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
        qz_thread_service_exec(
            service, [&ran] { ran = true; }, __FILE__, __LINE__);
        EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
    });
    post(service, [&ran] { ran = true; });
    set_interval(
        service, [&ran] { return ran = true; }, 0);
    stop_noting("completion");
    release.set();
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_FALSE(ran);
}

TEST_F(StopTest, CallsTheCompletionOnTheServicesThreadOnce)
{
    pid_t tasks = 0;
    pid_t completion = 0;
    run(service, [&tasks] { tasks = thread_id(); });
    const auto threads = thread_count();
    qz_thread_service_stop(service, [&](const service_ptr&) {
        completion = thread_id();
        log.note("completion");
    });
    ASSERT_TRUE(wait_for_end_of_thread(threads));
    EXPECT_THAT(log.entries(), ElementsAre("completion"));
    EXPECT_EQ(completion, tasks);
}

TEST_F(StopTest, EmptyCompletionIsNotCalled)
{
    const auto threads = thread_count();
    qz_thread_service_stop(service, nullptr);
    EXPECT_TRUE(wait_for_end_of_thread(threads));
    qz_thread_service_stop(service, nullptr);
    run_on_system();
}

// From everywhere.

TEST_F(StopTest, FromTheServicesOwnTask)
{
    run(service, [this] {
        stop_noting("completion");
        log.note("task ends");
    });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("task ends", "completion"));
}

TEST_F(StopTest, FromANestedTask)
{
    run(service, [this] {
        post(service, [this] { stop_noting("completion"); });
        post(service, [this] { log.note("dropped"); });
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
        log.note("task ends");
    });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("task ends", "completion"));
}

TEST_F(StopTest, FromATaskDropsThoseBehindIt)
{
    {
        const busy blocked(service);
        post(service, [this] {
            stop_noting("completion");
            EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
        });
        post_noting(service);
        post_noting(service);
    }
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_THAT(log.entries(), ElementsAre("task gone", "task gone", "completion"));
}

TEST_F(StopTest, ClosureThatItDestroysRunsNothing)
{
    {
        const busy blocked(service);
        post(service, [this] { stop_noting("completion"); });
        post(service, [end = at_end([this] {
                           post_noting(service);
                           EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
                       })] {});
        post_noting(service);
    }
    ASSERT_TRUE(log.wait_for(3));
    EXPECT_THAT(log.entries(), ElementsAre("task gone", "task gone", "completion"));
}

TEST_F(StopTest, FromATick)
{
    set_interval(
        service,
        [this] {
            stop_noting("completion");
            log.note("tick ends");
            return true;
        },
        1);
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("tick ends", "completion"));
}

TEST_F(StopTest, FromTheDestructorOfAClosure)
{
    post(service, [end = at_end([this] {
                       stop_noting("completion");
                       log.note("closure gone");
                   })] {});
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("closure gone", "completion"));
}

TEST_F(StopTest, FromAnotherServiceAndTheSystemService)
{
    const service_ptr other = make_service();
    run(other, [this] { stop_noting("first"); });
    ASSERT_TRUE(log.wait_for(1));
    run_on_system([this] { stop_noting("second"); });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("first", "second"));
}

TEST_F(StopTest, FromManyThreadsAtOnceCallsEachCompletion)
{
    constexpr unsigned threads = 8;
    on_threads(threads, [this](unsigned) { stop_noting("completion"); });
    ASSERT_TRUE(log.wait_for(threads));
    run_on_system();
    EXPECT_EQ(log.entries().size(), threads);
}

// A second time.

TEST_F(StopTest, SecondStopCallsItsCompletionToo)
{
    {
        const busy blocked(service);
        stop_noting("first");
        stop_noting("second");
    }
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("first", "second"));
}

TEST_F(StopTest, SecondStopFromInsideTheFirstCompletion)
{
    qz_thread_service_stop(service, [this](const service_ptr&) {
        stop_noting("second");
        log.note("first");
    });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_THAT(log.entries(), ElementsAre("first", "second"));
}

TEST_F(StopTest, SecondStopLongAfterTheEndCallsItsCompletionOnTheSystemService)
{
    const auto threads = thread_count();
    stop_noting("first");
    ASSERT_TRUE(wait_for_end_of_thread(threads));

    pid_t system = 0;
    run_on_system([&system] { system = thread_id(); });
    pid_t completion = 0;
    qz_thread_service_stop(service, [&](const service_ptr& stopped) {
        EXPECT_EQ(stopped, service);
        completion = thread_id();
        log.note("second");
    });
    ASSERT_TRUE(log.wait_for(2));
    EXPECT_EQ(completion, system);
}

// Afterwards.

TEST_F(StopTest, WorkForAStoppedServiceIsDroppedAndItsClosureDestroyed)
{
    stop(service);
    post_noting(service);
    EXPECT_THAT(log.entries(), ElementsAre("task gone"));
    const auto id = set_noting_interval(service, 0);
    EXPECT_THAT(log.entries(), ElementsAre("task gone", "interval gone"));
    qz_thread_service_clear_interval(service, id);
}

TEST_F(StopTest, WorkFromACompletionIsDropped)
{
    qz_thread_service_stop(service, [this](const service_ptr& stopped) {
        post(stopped, [this] { log.note("task runs"); });
        set_interval(
            stopped,
            [this] {
                log.note("tick");
                return false;
            },
            0);
        EXPECT_EQ(qz_thread_service_run_one_only(stopped), 0);
        log.note("completion");
    });
    ASSERT_TRUE(log.wait_for(1));
    stop(service);
    EXPECT_THAT(log.entries(), ElementsAre("completion"));
}

TEST_F(StopTest, CompletionThatThrowsIsReportedAndTheNextOneCalled)
{
    captured_output output;
    {
        const busy blocked(service);
        qz_thread_service_stop(
            service, [](const service_ptr&) { throw std::runtime_error("completion failed"); });
        stop_noting("second");
    }
    ASSERT_TRUE(log.wait_for(1));
    EXPECT_THAT(output.steps(),
                ElementsAre("\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: completion failed\n", "flush"));
}

TEST_F(StopTest, ByTheObjectsDestroyEndsTheThreadAndTheRegistrysHold)
{
    const auto threads = thread_count();
    service_weak watch;
    {
        const service_ptr held = qz_thread_service_new("held");
        watch = held;
        EXPECT_TRUE(qz_thread_service_to_object(held)->is_reffed());
        qz_thread_service_to_object(held)->destroy(__FILE__, __LINE__);
        EXPECT_FALSE(qz_thread_service_to_object(held)->is_reffed());
    }
    EXPECT_TRUE(watch.expired());
    EXPECT_TRUE(wait_until([threads] { return thread_count() == threads; }));
}
