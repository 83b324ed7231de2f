/// \file
/// \brief Programs that end by themselves while other threads work, and what is expected of them.
#pragma once

#include "process.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

/// With which such a program ends.
constexpr int own_status = 7;

/// Other threads run on meanwhile: that is what is tested.
[[noreturn]] inline void exit_now()
{
    std::exit(own_status); // NOLINT(concurrency-mt-unsafe)
}

[[noreturn]] inline void wait_for_exit()
{
    for (;;) {
        pause();
    }
}

/// Runs the program `name` again and again.
inline void expect_own_status(const std::string& name, const std::vector<std::string>& arguments)
{
    const int runs = is_slowed_down() ? 3 : 50;
    for (int number = 0; number < runs; ++number) {
        ASSERT_EQ(run_program(name, arguments), "exit " + std::to_string(own_status));
    }
}
