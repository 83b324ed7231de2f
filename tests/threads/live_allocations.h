/// \file
/// \brief How much the program has allocated and not freed. Replaces its `operator new`.
#pragma once

/// How many allocations by `new` live now, in the program and all its libraries.
long live_allocations();
