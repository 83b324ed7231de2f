/// \file
/// \brief The real libraries without sound: a track of silence, and an output that throws away what it
/// is given as fast as it comes.
#pragma once

#include <string>

// The output is set up before the first test of each program that links this, for its child programs
// too. To be asked for from inside a test.

/// The path of a track of half a second.
const std::string& silent_track();

/// The path of another, of another sample rate.
const std::string& other_silent_track();

/// The path of a file that is no track.
const std::string& broken_track();
