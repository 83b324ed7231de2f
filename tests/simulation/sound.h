/// \file
/// \brief The simulated libmpg123 and libout123, and what they know at the end.
#pragma once

#include <cstddef>

namespace simulation
{

/// Fails where a handle was not closed. Forgets all handles.
void every_decoder_was_closed();
void every_output_was_closed();

/// A block of memory that the library under test has got by `malloc` and not freed: its size, or 0.
std::size_t size_of_block(const void* block);

} // namespace simulation
