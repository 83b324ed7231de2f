/// \file
/// \brief How much memory is allocated.
#pragma once

namespace simulation
{

/// How many allocations of the whole program have not been freed.
long allocations_alive();

} // namespace simulation
