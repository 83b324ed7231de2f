/// \file
/// \brief Reports to the application: status, errors and volume.
///
/// Each function stores the new value in the player's properties and then, if the application has
/// registered a callback for the event, posts one call of it to the system service. Each returns false,
/// and does nothing, when the handle is empty; otherwise true. `property_mutex` must not be held.
#pragma once

#include "qz_audio/qz_audio.h"

/// Stores `new_status` and reports it, also when it is the same as before.
bool change_status(qz_audio_ptr ptr, qz_audio_status new_status);

/// Stores the decoder's text for its own last error, and reports `code`, whichever library it is from.
bool call_on_error(qz_audio_ptr ptr, int code);

/// Stores `new_volume` and reports it.
bool call_on_volume_change(qz_audio_ptr ptr, int new_volume);
