/// \file
/// \brief What belongs to the library as a whole.
#pragma once

/// Keeps the library, and what its threads read, in memory until the process ends. Call it when a player
/// has been created: its threads run the library's code until an unknown time after its destruction.
void keep_library_loaded();
