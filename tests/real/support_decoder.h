/// \file
/// \brief What a bare loop of libmpg123 makes of a track: the measure for what a player plays.
#pragma once

#include <string>

struct decoded_track {
    long rate = 0;
    int channels = 0;
    std::string samples;
    int result = 0; ///< Of the last call that looked for the format or decoded.
    int error = 0;  ///< The decoder's own code after it.
};

/// Decodes the track, and again from its start for each further round.
decoded_track decode(const std::string& track, double volume = 1.0, int rounds = 1);
