/// \file
/// \brief What belongs to the library as a whole.
#pragma once

/// Keeps the library in memory for the life of the process, and what its threads read until the very
/// end. To be called once a player has been made: its threads run the library's code until an unknown
/// time after its destruction.
void keep_library_loaded();
