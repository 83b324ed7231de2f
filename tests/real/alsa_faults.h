/// \file
/// \brief Calls of ALSA that fail when a test says so. A program that is linked with this, and exports
/// its symbols, has them called in place of ALSA's own.
#pragma once

#include <string>
#include <vector>

struct alsa_fault {
    std::string function; ///< Such as "snd_pcm_writei".
    int passed = 0;       ///< How many calls come before the first one that fails.
    int times = 1;        ///< How many fail then.
    int error = 0;        ///< What they return. A drop or a close has done its work nevertheless.
};

constexpr int for_ever = 1'000'000;

/// From now on the calls of one function fail so. No player may be doing anything meanwhile.
void break_alsa(const alsa_fault& fault);

/// Lets no more calls fail. No player may have a device open that a call has failed for.
void mend_alsa();

/// How many calls have failed since the last `break_alsa`.
int alsa_failures();
