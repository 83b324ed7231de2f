#include "process.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

// ThreadSanitizer lets the threads run on for a second before the process ends.
constexpr int runs = has_thread_sanitizer ? 3 : 50;

class ProcessExitTest : public testing::TestWithParam<std::string>
{
};

} // namespace

TEST_P(ProcessExitTest, HasTheProgramsOwnStatusWhileServicesWork)
{
    for (int number = 0; number < runs; ++number) {
        ASSERT_EQ(run_program("system_exit_program", {GetParam()}), "exit 7");
    }
}

INSTANTIATE_TEST_SUITE_P(By, ProcessExitTest,
                         testing::Values("return", "exit", "exit_in_task", "exit_in_system_task",
                                         "use_in_static_destructor"),
                         [](const auto& tested) { return tested.param; });
