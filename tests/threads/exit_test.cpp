#include "process.h"
#include "silent_sound.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

// ThreadSanitizer lets the threads run on for a second before the process ends.
constexpr int runs = has_thread_sanitizer ? 3 : 50;

class ExitWhilePlayingTest : public testing::TestWithParam<std::string>
{
};

} // namespace

TEST_P(ExitWhilePlayingTest, HasTheProgramsOwnStatus)
{
    for (int number = 0; number < runs; ++number) {
        ASSERT_EQ(run_program("threads_exit_program", {GetParam(), silent_track()}), "exit 7");
    }
}

INSTANTIATE_TEST_SUITE_P(By, ExitWhilePlayingTest,
                         testing::Values("return", "return_while_destroying", "exit",
                                         "exit_in_callback", "use_in_static_destructor"),
                         [](const auto& tested) { return tested.param; });
