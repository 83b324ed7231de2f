/// \file
/// \brief Which of libout123's output modules may be used.
#pragma once

#include "options.h"
#include "temp_folder.h"

/// Leaves libout123 with those of its modules that can sound on this machine, or with ALSA's alone
/// where a WAV file is asked for, and lets PulseAudio buffer little. `MPG123_MODDIR` decides, where the
/// user has set it and wants no WAV file.
///
/// Without this, libout123 tries one module after another and may end in one that opens without a
/// sound device and then blocks for ever.
///
/// Changes the environment: to be called while no player exists. Throws `startup_failure` when nothing
/// can sound.
void choose_output_modules(const options& chosen, const temp_folder& folder);
