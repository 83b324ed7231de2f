#include "operation.h"

#include <array>

namespace simulation
{

const char* name_of(operation what)
{
    static constexpr std::array<const char*, operation_count + 1> names{
        "qz_audio_new",
        "qz_audio_destroy",
        "qz_audio_set_bin_path",
        "qz_audio_get_bin_path",
        "qz_audio_open",
        "qz_audio_set_audio_track",
        "qz_audio_play",
        "qz_audio_pause",
        "qz_audio_stop",
        "qz_audio_set_volume",
        "qz_audio_volume_increment_timeout_start",
        "qz_audio_volume_decrement_timeout_start",
        "qz_audio_set_repeat",
        "qz_audio_get_playback_status",
        "qz_audio_get_current_track",
        "qz_audio_get_last_error_string",
        "qz_audio_on_status_change",
        "qz_audio_on_error",
        "qz_audio_on_volume_change",
        "qz_audio_set_audio_volume_increment_step",
        "qz_audio_set_audio_volume_decrement_step",
        "qz_audio_set_audio_volume_increment_timeout",
        "qz_audio_set_audio_volume_decrement_timeout",
        "drop the handle",
        "keep the handle",
        "sleep",
        "throw",
        "nothing",
    };
    return names.at(static_cast<unsigned>(what));
}

} // namespace simulation
