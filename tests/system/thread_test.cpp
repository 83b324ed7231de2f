#include "failing_threads.h"
#include "service_test.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace
{

class ThreadTest : public ServiceTest
{
protected:
    static std::string name_of_thread(const service_ptr& of)
    {
        std::array<char, 16> name{};
        run(of, [&name] { pthread_getname_np(pthread_self(), name.data(), name.size()); });
        return name.data();
    }
};

std::size_t stack_size_of_this_thread()
{
    pthread_attr_t attributes{};
    std::size_t size = 0;
    pthread_getattr_np(pthread_self(), &attributes);
    pthread_attr_getstacksize(&attributes, &size);
    pthread_attr_destroy(&attributes);
    return size;
}

/// The bytes of address space that this process takes.
std::size_t address_space()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

TEST_F(ThreadTest, BearsTheServicesName)
{
    EXPECT_EQ(name_of_thread(make_service("audio")), "audio");
    EXPECT_EQ(name_of_thread(make_service("exactly fifteen")), "exactly fifteen");
    EXPECT_EQ(name_of_thread(make_service("a name that is too long")), "a name that is ");
}

TEST_F(ThreadTest, HasAStackOfOneMebibyte)
{
    std::size_t size = 0;
    run(service, [&size] { size = stack_size_of_this_thread(); });
    EXPECT_EQ(size, 1U << 20U);
}

TEST_F(ThreadTest, OfTheSystemServiceHasAStackOfEightMebibytes)
{
    std::size_t size = 0;
    run_on_system([&size] { size = stack_size_of_this_thread(); });
    EXPECT_EQ(size, 8U << 20U);
}

TEST_F(ThreadTest, BlocksTheSignalOfABrokenPipeAndNoOther)
{
    sigset_t blocked{};
    sigset_t blocked_here{};
    run(service, [&blocked] { pthread_sigmask(SIG_SETMASK, nullptr, &blocked); });
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked_here);
    for (int signal = 1; signal < SIGRTMIN; ++signal) {
        const bool expected = signal == SIGPIPE || sigismember(&blocked_here, signal) == 1;
        EXPECT_EQ(sigismember(&blocked, signal) == 1, expected) << signal;
    }
    ASSERT_EQ(sigismember(&blocked_here, SIGPIPE), 0);
}

TEST_F(ThreadTest, IsOneForEachService)
{
    const auto threads = thread_count();
    const std::vector<service_ptr> services{make_service(), make_service(), make_service()};
    EXPECT_EQ(thread_count(), threads + services.size());
}

TEST_F(ThreadTest, GivesItsStackBack)
{
    constexpr std::size_t count = 1000; // far more than the C library reserves or keeps
    constexpr std::size_t stacks = count << 20U;
    const std::size_t before = address_space();
    for (std::size_t number = 0; number < count; ++number) {
        stop(make_service());
        run_on_system();
    }
    EXPECT_LT(address_space(), before + stacks / 2);
}

TEST_F(ThreadTest, GivesItsStackBackWhileTheSystemServiceIsHeldUp)
{
    constexpr std::size_t count = 1000;
    constexpr std::size_t stacks = count << 20U;
    event release;
    event done;
    post_to_system([&] {
        EXPECT_TRUE(release.wait());
        done.set();
    });
    const std::size_t before = address_space();
    for (std::size_t number = 0; number < count; ++number) {
        stop(make_service());
    }
    EXPECT_LT(address_space(), before + stacks / 2);
    release.set();
    EXPECT_TRUE(done.wait());
}

TEST_F(ThreadTest, NeedsNoFileDescriptor)
{
    const auto descriptors = descriptor_count();
    std::vector<service_ptr> services;
    for (int number = 0; number < 10; ++number) {
        services.push_back(make_service());
        set_interval(
            services.back(), [] { return true; }, 1);
        run(services.back());
    }
    EXPECT_EQ(descriptor_count(), descriptors);
}

// A stretch of a hundred ticks elsewhere, in which the idle thread never wakes up: the first few may
// still see it on its way to sleep.
TEST_F(ThreadTest, IdleOneNeverWakesUp)
{
    pid_t idle = 0;
    run(service, [&idle] { idle = thread_id(); });
    const service_ptr ticking = make_service();
    bool slept = false;
    for (int stretch = 0; stretch < 5 && !slept; ++stretch) {
        const long before = sleeps_of(idle);
        event done;
        int ticks = 0;
        set_interval(
            ticking,
            [&] {
                const bool again = ++ticks < 100;
                if (!again) {
                    done.set();
                }
                return again;
            },
            1);
        ASSERT_TRUE(done.wait());
        ASSERT_GE(before, 0);
        slept = sleeps_of(idle) == before;
    }
    EXPECT_TRUE(slept);
}

// Threads that cannot be started.

TEST_F(ThreadTest, ThatCannotBeStartedIsAnExceptionAndLeavesNothing)
{
    const auto threads = thread_count();
    const auto descriptors = descriptor_count();
    {
        const failing_threads failing;
        for (int attempt = 0; attempt < 3; ++attempt) {
            EXPECT_THROW(qz_thread_service_new("test"), std::system_error);
        }
    }
    EXPECT_EQ(thread_count(), threads);
    EXPECT_EQ(descriptor_count(), descriptors);
    run(make_service());
}

TEST_F(ThreadTest, ExceptionTellsTheSystemsError)
{
    const failing_threads failing;
    try {
        qz_thread_service_new("test");
        FAIL();
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_unavailable_try_again);
    }
}

// In a process of its own, where nothing has been started yet.
class FirstStartTest : public testing::Test
{
protected:
    FirstStartTest()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        // A sanitizer starts a thread of its own beside the first one.
        std::thread([] {}).join();
    }
};

TEST_F(FirstStartTest, FailsWithTheSystemServiceAndSucceedsLater)
{
    EXPECT_EXIT(
        {
            const auto threads = thread_count();
            {
                const failing_threads failing;
                EXPECT_THROW(qz_thread_service_new("test"), std::system_error);
                EXPECT_THROW(qz_system_service_exec([] {}, __FILE__, __LINE__), std::system_error);
            }
            EXPECT_EQ(thread_count(), threads);
            run(make_service());
            run_on_system();
            std::exit(HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe)
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(FirstStartTest, FailsWithTheServiceWhenTheSystemServiceHasStarted)
{
    EXPECT_EXIT(
        {
            const auto threads = thread_count();
            {
                const failing_threads failing(1);
                EXPECT_THROW(qz_thread_service_new("test"), std::system_error);
            }
            EXPECT_EQ(thread_count(), threads + 1);
            run_on_system();
            run(make_service());
            std::exit(HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe)
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(FirstStartTest, OfAServiceStartsTheSystemServiceToo)
{
    EXPECT_EXIT(
        {
            const auto threads = thread_count();
            const service_ptr service = make_service();
            EXPECT_EQ(thread_count(), threads + 2);
            const failing_threads failing;
            run_on_system();
            std::exit(HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe)
        },
        testing::ExitedWithCode(0), "");
}
