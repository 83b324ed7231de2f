/// \file
/// \brief What the player's tasks do with the decoder and the output.
///
/// All run on the player's thread; do_play runs others nested in it. Each returns 0 or a code, which the tasks
/// discard: failures reach the application as reports.
#pragma once

#include "qz_audio/qz_audio_record.h"

/// Creates the decoder and opens the default output.
int do_open(_qz_audio* player);

/// Starts the output with the loaded track's format. Returns libout123's result; reports nothing.
int start_output(_audio_data& adata);

/// Loads the current track into the decoder, opening the player first if need be.
int do_set_audio_track(_qz_audio* player);

/// Opens the current track in the decoder again. Returns 0 or the decoder's code; reports nothing.
int reopen_track(_qz_audio* player);

/// Plays to the track's end, or until a task that it serves between two blocks ends it.
int do_play(_qz_audio* player);

/// Pauses a playing track. Returns 1 when the player holds an error code and pausing is refused.
int do_pause(_qz_audio* player);

/// Stops a playing or paused track. Returns 0.
int do_stop(_qz_audio* player);
