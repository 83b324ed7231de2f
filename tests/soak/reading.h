/// \file
/// \brief What the process holds of the machine.
#pragma once

#include <cstddef>
#include <string>

struct reading {
    std::size_t resident; ///< KiB
    std::size_t threads;
    std::size_t descriptors;
};

/// Reads it, after giving back what the heap does not need.
reading take_reading();

/// Returns in words what `last` has more than `first`, or has otherwise; "" when all is well.
std::string find_growth(const reading& first, const reading& last);
