/// \file
/// \brief Calls of nearly all of the 23 functions.
#pragma once

#include "qz_audio/qz_audio.h"

#include <string>

/// Calls every function but `qz_audio_open` and `qz_audio_destroy`, and expects what each returns. `track` is
/// for what the player is to do when it serves again.
void call_all_but_open_and_destroy(const qz_audio_ptr& player, const std::string& track);
