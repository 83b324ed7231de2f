/// \file
/// \brief Whether ALSA has something to play on.
#pragma once

/// Returns whether there is a sound card, or a default device that somebody has configured. Which of
/// them works only an open can tell.
bool alsa_device_exists();
