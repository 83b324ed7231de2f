/// \file
/// \brief One round: a few players from their making to their end.
#pragma once

#include "tracks.h"

struct tally {
    unsigned long players = 0;
    unsigned long plays = 0; ///< How often a player has told that it plays.
};

/// Makes a few players, has two threads and the players' callbacks do with them what `seed` says, destroys
/// them, waits until they are gone and all callbacks have run, and adds to `done`. Throws when one does not
/// end.
void play_round(const tracks& music, unsigned seed, tally& done);
