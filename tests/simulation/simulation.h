/// \file
/// \brief One simulation, from the first call of its programme to the end of its last thread.
#pragma once

#include "programme.h"

#include <cstdint>

namespace simulation
{

/// Runs `to_do`. Returns how many steps it took, or ends the process where something is wrong (see
/// failure.h). With `trace` every step is written on standard error.
std::uint64_t simulate(const programme& to_do, bool trace);

} // namespace simulation
