/// \file
/// \brief The statuses of a player.
#pragma once

#include "qz_audio/qz_audio.h"

#include <array>
#include <cstddef>
#include <string>

/// All of them, in the order of their values.
constexpr std::array<qz_audio_status, 6> all_statuses()
{
    return {qz_audio_status_none,    qz_audio_status_opened, qz_audio_status_loaded,
            qz_audio_status_playing, qz_audio_status_paused, qz_audio_status_stopped};
}

/// "none", "opened", ... Callbacks ask for it while the process ends: nothing here has a destructor.
inline std::string status_name(qz_audio_status status)
{
    constexpr std::array<const char*, 6> names{"none",    "opened", "loaded",
                                               "playing", "paused", "stopped"};
    return names.at(static_cast<std::size_t>(status));
}
