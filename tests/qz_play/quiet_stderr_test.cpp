#include "quiet_stderr.h"

#include "pseudo_terminal.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <thread>

#include <sys/resource.h>

using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

namespace
{

/// Runs `action` where standard error is hidden and a library has written "library".
[[noreturn]] void act_after_message(const std::function<void(event_loop&)>& action)
{
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    event_loop loop;
    handle_crashes([] { std::fputs("cleaned up\n", stderr); });
    const quiet_stderr quiet(loop);
    std::fputs("library\n", stderr);
    action(loop);
    std::_Exit(0);
}

void write_much(event_loop& loop)
{
    for (int number = 1000; number < 20'000; ++number) {
        std::fprintf(stderr, "message %d\n", number);
        sd_event_run(loop.handle(), 0);
    }
}

} // namespace

TEST(quiet_stderr_death_test, shows_why_the_program_is_terminated)
{
    EXPECT_EXIT(act_after_message([](event_loop&) { std::terminate(); }), KilledBySignal(SIGABRT),
                "library\nterminate called without an active exception\ncleaned up\n");
    const auto fail = [](event_loop&) {
        std::thread([] { throw std::runtime_error("the reason"); }).join();
    };
    EXPECT_EXIT(act_after_message(fail), KilledBySignal(SIGABRT), "what\\(\\):  the reason");
}

TEST(quiet_stderr_death_test, shows_what_a_library_wrote_before_a_crash)
{
    EXPECT_EXIT(act_after_message([](event_loop&) { std::abort(); }), KilledBySignal(SIGABRT),
                "library");
    EXPECT_EXIT(act_after_message([](event_loop&) { std::raise(SIGSEGV); }),
                KilledBySignal(SIGSEGV), "library");
}

TEST(quiet_stderr_death_test, keeps_the_newest_messages)
{
    const auto crash = [](event_loop& loop) {
        write_much(loop);
        std::abort();
    };
    // 4 KiB are fewer than 300 of these messages.
    EXPECT_EXIT(act_after_message(crash), KilledBySignal(SIGABRT), "^\n?[^\n]*\nmessage 197..\n");
    EXPECT_EXIT(act_after_message(crash), KilledBySignal(SIGABRT),
                "message 19998\nmessage 19999\ncleaned up\n$");
}

TEST(quiet_stderr_death_test, shows_nothing_at_a_normal_exit)
{
    EXPECT_EXIT(act_after_message([](event_loop&) {}), ExitedWithCode(0), "^$");
}

TEST(quiet_stderr_death_test, hides_messages_only_while_it_exists)
{
    const auto print = [] {
        event_loop loop;
        {
            const quiet_stderr quiet(loop);
            write_much(loop);
        }
        std::fputs("seen\n", stderr);
        std::_Exit(0);
    };
    EXPECT_EXIT(print(), ExitedWithCode(0), "^seen\n$");
}

TEST(quiet_stderr_death_test, does_not_hold_up_who_writes_more_than_is_read)
{
    const auto flood = [](event_loop&) {
        for (int times = 0; times < 10'000; ++times) {
            std::fputs("one message after another\n", stderr);
        }
    };
    EXPECT_EXIT(act_after_message(flood), ExitedWithCode(0), "^$");
}
