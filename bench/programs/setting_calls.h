/// \file
/// \brief The library's calls that return at once, and what stands for them in settings kept by hand.
#pragma once

#include "qz_audio/qz_audio.h"
#include "settings_by_hand.h"

#include <array>
#include <functional>
#include <memory>
#include <string>

using status_callback = std::function<void(qz_audio_ptr, qz_audio_status)>;
using code_callback = std::function<void(qz_audio_ptr, int)>;

/// Callbacks that share what they use, as most do.
inline const auto shared_state = std::make_shared<int>();
inline const status_callback on_status = [state = shared_state](qz_audio_ptr, qz_audio_status) {};
inline const code_callback on_code = [state = shared_state](qz_audio_ptr, int) {};

/// Settings like those of a new player.
inline std::unique_ptr<settings_by_hand> new_settings_by_hand()
{
    auto settings = std::make_unique<settings_by_hand>();
    settings->make("audio_track", std::string());
    settings->make("audio_volume", 100);
    settings->make("error_str", std::string());
    settings->make("on_error", code_callback());
    settings->make("on_status_changed", status_callback());
    settings->make("on_volume_change", code_callback());
    settings->make("repeat", false);
    settings->make("status", qz_audio_status_none);
    settings->make("volume_decrement_step", 10);
    settings->make("volume_decrement_timeout", 500);
    settings->make("volume_increment_step", 10);
    settings->make("volume_increment_timeout", 500);
    return settings;
}

/// A call whose whole work runs on the caller's thread, and the same by hand.
struct setting_call {
    const char* name;
    void (*ours)(const qz_audio_ptr&);
    void (*by_hand)(settings_by_hand&);
};

/// Any other call.
struct player_call {
    const char* name;
    void (*ours)(const qz_audio_ptr&);
};

inline const std::array setting_calls{
    setting_call{
        "qz_audio_get_playback_status",
        [](const qz_audio_ptr& player) { qz_audio_get_playback_status(player); },
        [](settings_by_hand& settings) { settings.get<qz_audio_status>("status"); },
    },
    setting_call{
        "qz_audio_get_current_track",
        [](const qz_audio_ptr& player) { qz_audio_get_current_track(player); },
        [](settings_by_hand& settings) { settings.get<std::string>("audio_track"); },
    },
    setting_call{
        "qz_audio_get_last_error_string",
        [](const qz_audio_ptr& player) {
            std::string text;
            qz_audio_get_last_error_string(player, text);
        },
        [](settings_by_hand& settings) { settings.set("error_str", std::string()); },
    },
    setting_call{
        "qz_audio_on_status_change",
        [](const qz_audio_ptr& player) { qz_audio_on_status_change(player, on_status); },
        [](settings_by_hand& settings) { settings.set("on_status_changed", on_status); },
    },
    setting_call{
        "qz_audio_on_error",
        [](const qz_audio_ptr& player) { qz_audio_on_error(player, on_code); },
        [](settings_by_hand& settings) { settings.set("on_error", on_code); },
    },
    setting_call{
        "qz_audio_on_volume_change",
        [](const qz_audio_ptr& player) { qz_audio_on_volume_change(player, on_code); },
        [](settings_by_hand& settings) { settings.set("on_volume_change", on_code); },
    },
    setting_call{
        "qz_audio_set_audio_volume_increment_step",
        [](const qz_audio_ptr& player) { qz_audio_set_audio_volume_increment_step(player, 5); },
        [](settings_by_hand& settings) { settings.set("volume_increment_step", 5); },
    },
    setting_call{
        "qz_audio_set_audio_volume_decrement_step",
        [](const qz_audio_ptr& player) { qz_audio_set_audio_volume_decrement_step(player, 5); },
        [](settings_by_hand& settings) { settings.set("volume_decrement_step", 5); },
    },
    setting_call{
        "qz_audio_set_audio_volume_increment_timeout",
        [](const qz_audio_ptr& player) { qz_audio_set_audio_volume_increment_timeout(player, 30); },
        [](settings_by_hand& settings) { settings.set("volume_increment_timeout", 30); },
    },
    setting_call{
        "qz_audio_set_audio_volume_decrement_timeout",
        [](const qz_audio_ptr& player) { qz_audio_set_audio_volume_decrement_timeout(player, 30); },
        [](settings_by_hand& settings) { settings.set("volume_decrement_timeout", 30); },
    },
};

/// Requests, which are posted, and the output-module path, which all players share. A track that is set opens
/// the output, so that these need a silent one.
inline const std::array player_calls{
    player_call{"qz_audio_set_repeat",
                [](const qz_audio_ptr& player) { qz_audio_set_repeat(player, false); }},
    player_call{"qz_audio_set_audio_track",
                [](const qz_audio_ptr& player) { qz_audio_set_audio_track(player, "song.mp3"); }},
    player_call{"qz_audio_set_volume",
                [](const qz_audio_ptr& player) { qz_audio_set_volume(player, 50); }},
    player_call{
        "qz_audio_volume_increment_timeout_start",
        [](const qz_audio_ptr& player) { qz_audio_volume_increment_timeout_start(player, 100); }},
    player_call{
        "qz_audio_volume_decrement_timeout_start",
        [](const qz_audio_ptr& player) { qz_audio_volume_decrement_timeout_start(player, 0); }},
    player_call{"qz_audio_pause", [](const qz_audio_ptr& player) { qz_audio_pause(player); }},
    player_call{"qz_audio_stop",
                [](const qz_audio_ptr& player) { qz_audio_stop(player, nullptr); }},
    player_call{"qz_audio_set_bin_path",
                [](const qz_audio_ptr&) { qz_audio_set_bin_path("./bin/"); }},
    player_call{"qz_audio_get_bin_path", [](const qz_audio_ptr&) { qz_audio_get_bin_path(); }},
};
