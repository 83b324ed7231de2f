#include "on_threads.h"
#include "service_test.h"

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

using TasksTest = ServiceTest;

TEST_F(TasksTest, RunInTheOrderPosted)
{
    std::vector<int> order;
    for (int number = 0; number < 1000; ++number) {
        post(service, [&order, number] { order.push_back(number); });
    }
    run(service);

    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
}

TEST_F(TasksTest, KeepTheOrderOfEachPostingThread)
{
    constexpr unsigned posters = 8;
    constexpr int tasks = 500;
    std::vector<std::vector<int>> orders(posters);
    on_threads(posters, [&](unsigned poster) {
        auto& order = orders.at(poster);
        for (int number = 0; number < tasks; ++number) {
            post(service, [&order, number] { order.push_back(number); });
        }
    });
    run(service);

    for (const auto& order : orders) {
        ASSERT_EQ(order.size(), static_cast<std::size_t>(tasks));
        EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    }
}

TEST_F(TasksTest, RunOneAtATimeOnOneThread)
{
    std::atomic<int> running{0};
    std::vector<pid_t> threads;
    for (int number = 0; number < 100; ++number) {
        post(service, [&] {
            EXPECT_EQ(++running, 1);
            threads.push_back(thread_id());
            std::this_thread::yield();
            --running;
        });
    }
    run(service);

    ASSERT_EQ(threads.size(), 100U);
    EXPECT_THAT(threads, testing::Each(threads.front()));
    EXPECT_NE(threads.front(), thread_id());
}

TEST_F(TasksTest, OfOneServiceDoNotWaitForThoseOfAnother)
{
    const service_ptr other = make_service();
    const busy blocked(service);
    run(other);
}

TEST_F(TasksTest, ExecReturnsBeforeTheTaskRuns)
{
    bool has_run = false;
    busy blocked(service);
    post(service, [&has_run] { has_run = true; });
    EXPECT_FALSE(has_run);
    blocked.end();
    run(service);
    EXPECT_TRUE(has_run);
}

TEST_F(TasksTest, ClosureIsGoneBeforeTheNextTaskRuns)
{
    {
        const busy blocked(service);
        post(service,
             [this, end = at_end([this] { log.note("first gone"); })] { log.note("first"); });
        post(service, [this] { log.note("second"); });
    }
    run(service);
    EXPECT_THAT(log.entries(), ElementsAre("first", "first gone", "second"));
}

TEST_F(TasksTest, TaskThatPostsItselfLetsOthersRun)
{
    std::atomic<bool> go_on{true};
    std::function<void()> again = [&] {
        if (go_on) {
            post(service, again);
        }
    };
    post(service, again);
    run(service);
    go_on = false;
    run(service);
}

// Running one task from inside another.

TEST_F(TasksTest, RunOneOnlyRunsTheOldestWaitingTask)
{
    busy blocked(service);
    post(service, [&] {
        log.note("outer begins");
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        log.note("outer ends");
    });
    post(service, [this] { log.note("inner"); });
    post(service, [this] { log.note("later"); });
    blocked.end();
    run(service);
    EXPECT_THAT(log.entries(), ElementsAre("outer begins", "inner", "outer ends", "later"));
}

TEST_F(TasksTest, RunOneOnlyRunsItsTaskOnTheSameThread)
{
    pid_t outer = 0;
    pid_t inner = 0;
    run(service, [&] {
        outer = thread_id();
        post(service, [&inner] { inner = thread_id(); });
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        EXPECT_EQ(inner, outer);
    });
}

TEST_F(TasksTest, RunOneOnlyReturnsZeroAtOnceWhenNothingIsDue)
{
    run(service, [this] {
        EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
        const auto id = set_interval(
            service, [] { return false; }, one_day);
        EXPECT_EQ(qz_thread_service_run_one_only(service), 0);
        qz_thread_service_clear_interval(service, id);
    });
}

TEST_F(TasksTest, RunOneOnlyRunsWhatWaitsBeforeWhatIsPostedMeanwhile)
{
    {
        const busy blocked(service);
        post(service, [this] {
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
            post(service, [this] { log.note("posted meanwhile"); });
            log.note("first goes on");
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        });
        post(service, [this] { log.note("second"); });
        post(service, [this] { log.note("third"); });
    }
    ASSERT_TRUE(log.wait_for(4));
    EXPECT_THAT(log.entries(), ElementsAre("second", "first goes on", "third", "posted meanwhile"));
}

TEST_F(TasksTest, RunOneOnlyNestsToAnyDepth)
{
    constexpr int depth = 100;
    int deepest = 0;
    int inside = 0;
    const auto nest = [&] {
        ++inside;
        deepest = std::max(deepest, inside);
        if (inside < depth) {
            EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        }
        --inside;
    };
    {
        const busy blocked(service);
        for (int number = 0; number < depth; ++number) {
            post(service, nest);
        }
    }
    run(service);
    EXPECT_EQ(deepest, depth);
    EXPECT_EQ(inside, 0);
}

TEST_F(TasksTest, RunOneOnlyDestroysTheClosureBeforeItReturns)
{
    run(service, [this] {
        bool gone = false;
        post(service, [end = at_end([&gone] { gone = true; })] {});
        EXPECT_EQ(qz_thread_service_run_one_only(service), 1);
        EXPECT_TRUE(gone);
    });
}

// The system service.

TEST_F(TasksTest, SystemServiceRunsInTheOrderPostedOnOneThreadOfItsOwn)
{
    std::vector<int> order;
    std::vector<pid_t> threads;
    for (int number = 0; number < 1000; ++number) {
        post_to_system([&, number] {
            order.push_back(number);
            threads.push_back(thread_id());
        });
    }
    run_on_system();
    pid_t own = 0;
    run(service, [&own] { own = thread_id(); });

    ASSERT_EQ(order.size(), 1000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_THAT(threads, testing::Each(threads.front()));
    EXPECT_NE(threads.front(), thread_id());
    EXPECT_NE(threads.front(), own);
}

TEST_F(TasksTest, SystemServiceTakesWorkFromItsOwnTasks)
{
    event done;
    post_to_system([&done] { post_to_system([&done] { done.set(); }); });
    EXPECT_TRUE(done.wait());
}

TEST_F(TasksTest, SystemServiceOutlivesEveryThreadService)
{
    pid_t before = 0;
    run_on_system([&before] { before = thread_id(); });
    service.reset();
    make_service();
    pid_t after = 0;
    run_on_system([&after] { after = thread_id(); });
    EXPECT_EQ(before, after);
}
