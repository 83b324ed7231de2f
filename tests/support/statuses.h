/// \file
/// \brief The statuses of a player.
#pragma once

#include "qz_audio/qz_audio.h"

#include <string>
#include <vector>

/// All of them, in the order of their values.
inline const std::vector<qz_audio_status>& all_statuses()
{
    static const std::vector<qz_audio_status> statuses{
        qz_audio_status_none,    qz_audio_status_opened, qz_audio_status_loaded,
        qz_audio_status_playing, qz_audio_status_paused, qz_audio_status_stopped};
    return statuses;
}

/// "none", "opened", ...
inline std::string status_name(qz_audio_status status)
{
    static const std::vector<std::string> names{"none",    "opened", "loaded",
                                                "playing", "paused", "stopped"};
    return names.at(static_cast<std::size_t>(status));
}
