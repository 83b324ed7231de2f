/// \file
/// \brief Formats the status line and the information about a track.
#pragma once

#include "snapshot.h"

#include <cstddef>
#include <string>
#include <vector>

/// Returns the status line for the time `now`, at most `columns` wide: state, name, progress bar, position and length,
/// volume, shuffle and loop mode. In a narrow window the bar is omitted first, then the name.
std::wstring status_line(const snapshot& shown, snapshot::clock::time_point now,
                         std::size_t columns);

/// Returns all that is known about the track, in the locale's encoding.
std::vector<std::string> info_lines(const snapshot& shown);

/// Returns the time as "m:ss", or as "h:mm:ss" from one hour on.
std::wstring format_duration(snapshot::seconds time);
