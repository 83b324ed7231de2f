/// \file
/// \brief The line that shows what plays.
#pragma once

#include "session/snapshot.h"

#include <cstddef>
#include <string>

/// Returns what is named of the track: artist and title, or else its file.
std::wstring name_of_track(const snapshot& told);

/// Returns the line as of `now`, no more than `columns` wide: state, name, a bar, time gone by and whole,
/// volume, what is repeated. Where there is little room, the bar goes first, then the name.
std::wstring status_line(const snapshot& told, snapshot::clock::time_point now,
                         std::size_t columns);

/// Returns a time in minutes and seconds, and in hours where there are any.
std::wstring clock_text(snapshot::seconds time);
