/// \file
/// \brief Simulations in processes of their own, so that one that crashes or hangs is noticed.
#pragma once

#include "programme.h"

#include <cstdint>
#include <optional>
#include <string>

namespace simulation
{

/// What is wrong with a programme.
struct defect {
    programme shown_by;
    std::string invariant; ///< Its name, or the signal that ended the process.
    std::string text;
};

struct range {
    std::uint64_t first;
    std::uint64_t count;
};

struct tally {
    std::uint64_t seeds = 0;
    std::uint64_t steps = 0;
    std::optional<defect> first_defect;
};

/// Runs one programme in a process of its own.
std::optional<defect> run_apart(const programme& to_run, bool trace);

/// The same in its own schedule and then in so many others, until one shows a defect.
std::optional<defect> run_schedules_apart(const programme& to_run, std::uint64_t others);

/// Runs the seeds of `seeds` in so many processes, until one shows a defect.
tally run_seeds(const range& seeds, unsigned processes);

} // namespace simulation
