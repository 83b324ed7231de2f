#include "own_exit.h"
#include "silent_sound.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

class ExitWhilePlayingTest : public testing::TestWithParam<std::string>
{
};

} // namespace

TEST_P(ExitWhilePlayingTest, HasTheProgramsOwnStatus)
{
    expect_own_status("threads_exit_program", {GetParam(), silent_track()});
}

INSTANTIATE_TEST_SUITE_P(By, ExitWhilePlayingTest,
                         testing::Values("return", "return_while_destroying", "exit",
                                         "exit_in_callback", "use_in_static_destructor"),
                         [](const auto& tested) { return tested.param; });

INSTANTIATE_TEST_SUITE_P(AfterFork, ExitWhilePlayingTest,
                         testing::Values("child_ends_at_once", "child_executes"),
                         [](const auto& tested) { return tested.param; });

// A sanitizer's own locks may be taken for good in a child, and its search for leaks misses the threads.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
INSTANTIATE_TEST_SUITE_P(AfterForkToo, ExitWhilePlayingTest, testing::Values("child_exits"),
                         [](const auto& tested) { return tested.param; });
#endif
