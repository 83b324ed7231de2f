/// \file
/// \brief A snapshot in the words of MPRIS.
#pragma once

#include "session/snapshot.h"

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

/// Returns "Playing", "Paused" or "Stopped".
std::string playback_status(const snapshot& now);

/// Returns "None", "Track" or "Playlist".
std::string loop_status(const snapshot& now);

/// Returns the mode that such a word stands for, if there is one.
std::optional<loop_mode> loop_mode_called(const std::string& word);

/// Returns the volume that is chosen, of the full one: 0 to 1. Muting, of which MPRIS knows nothing, leaves it:
/// who turns it up by a part goes on from there.
double volume_part(const snapshot& now);

/// Returns the per cent for such a part; what lies beyond 0 or 1 counts as these.
int volume_percent(double part);

/// Returns the time in microseconds.
std::int64_t position_now(const snapshot& now);

bool has_track(const snapshot& now);

using metadata_map = std::map<std::string, sdbus::Variant>;

metadata_map metadata(const snapshot& now);

bool metadata_differs(const snapshot& one, const snapshot& other);
