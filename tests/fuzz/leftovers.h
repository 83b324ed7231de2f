/// \file
/// \brief What the harnesses share: the end of the process where something is wrong, and the search for what
/// players on the substitutes have left behind.
#pragma once

#include <cstddef>
#include <string>

/// Ends the process with `what` on standard error unless `condition` holds.
void require(bool condition, const std::string& what);

/// Makes the substitutes as new. To be called after each input: libFuzzer takes what the log holds for a leak
/// to look into, which is slow.
void reset_substitutes();

/// To be called when every player has been destroyed and all has run.
void require_nothing_left(std::size_t lost_outputs = 0);
