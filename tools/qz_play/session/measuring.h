/// \file
/// \brief Measuring a track while it plays.
#pragma once

#include "session/events.h"

#include <memory>
#include <string>

/// Measures the track at `path` on a thread of its own, which becomes a `track_measured`. A large file, or one
/// on a slow disk, takes its time; nobody has to wait for it, also not at the program's end.
void measure_in_background(const std::string& path, const std::shared_ptr<event_queue>& events);
