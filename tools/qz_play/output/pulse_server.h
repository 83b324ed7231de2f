/// \file
/// \brief Whether a PulseAudio server runs.
#pragma once

/// Returns whether a PulseAudio server answers where libpulse would look for one.
bool pulse_server_answers();
