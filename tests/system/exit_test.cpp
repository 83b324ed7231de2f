#include "own_exit.h"

#include <gmock/gmock.h>

#include <string>

namespace
{

class ProcessExitTest : public testing::TestWithParam<std::string>
{
};

} // namespace

TEST_P(ProcessExitTest, HasTheProgramsOwnStatusWhileServicesWork)
{
    expect_own_status("system_exit_program", {GetParam()});
}

INSTANTIATE_TEST_SUITE_P(By, ProcessExitTest,
                         testing::Values("return", "exit", "exit_in_task", "exit_in_system_task",
                                         "use_in_static_destructor"),
                         [](const auto& tested) { return tested.param; });
