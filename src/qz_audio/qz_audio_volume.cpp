#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_notifications.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_property_guard.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_audio/qz_audio_retry.h"
#include "qz_audio/qz_audio_task.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <mutex>
#include <utility>

namespace
{

enum class fade_direction { up, down };

/// What a fade reads once, when it starts.
struct fade_settings {
    int timeout; ///< Milliseconds between two ticks.
    int step;    ///< Percentage points per tick.
};

fade_settings increment_settings(property_list& property_list)
{
    int volume_increment_timeout = 0;
    int volume_increment_step = 0;
    QZ_AUDIO_CHECK("volume_increment_timeout", qz_property_get_extract<int> (property_list,"volume_increment_timeout",&volume_increment_timeout));
    QZ_AUDIO_CHECK("volume_increment_step", qz_property_get_extract<int> (property_list,"volume_increment_step",&volume_increment_step));
    return {volume_increment_timeout, volume_increment_step};
}

fade_settings decrement_settings(property_list& property_list)
{
    int volume_decrement_timeout = 0;
    int volume_decrement_step = 0;
    QZ_AUDIO_CHECK("volume_decrement_timeout", qz_property_get_extract<int> (property_list,"volume_decrement_timeout",&volume_decrement_timeout));
    QZ_AUDIO_CHECK("volume_decrement_step", qz_property_get_extract<int> (property_list,"volume_decrement_step",&volume_decrement_step));
    return {volume_decrement_timeout, volume_decrement_step};
}

/// Returns the volume after one step, not beyond `target` and within the range of an `int`.
int next_volume(fade_direction direction, int volume, int step, int target)
{
    const std::int64_t next = direction == fade_direction::up
                                  ? std::min<std::int64_t>(std::int64_t{volume} + step, target)
                                  : std::max<std::int64_t>(std::int64_t{volume} - step, target);
    return static_cast<int>(std::clamp<std::int64_t>(next, std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
}

bool has_reached(fade_direction direction, int volume, int target)
{
    return direction == fade_direction::up ? target <= volume : target >= volume;
}

/// While nothing plays, a fade up leaves the decoder to the next play; a fade down does not.
bool sets_decoder(fade_direction direction, const _audio_data& adata)
{
    return adata.mh != nullptr && (direction == fade_direction::down || adata.in_play);
}

/// Sets the next volume in the decoder and the record; if the decoder refuses it, stores its error instead.
void apply_step(_audio_data& adata, fade_direction direction, int target, int step)
{
    const int next = next_volume(direction, adata.volume, step, target);
    if (sets_decoder(direction, adata)) {
        adata.error = mpg123_volume(adata.mh, next / 100.0);
    }
    if (adata.error == 0) {
        adata.volume = next;
    }
}

/// Player's thread: one step of a fade. Returns whether the fade goes on.
bool run_fade_step(_qz_audio* player, fade_direction direction, int target, int step)
{
    _audio_data* const adata = get_audio_data(player);
    bool goes_on = false;
    retry_on_bad_alloc([&] {
        const qz_property_guard lock(*player, __FILE__, __LINE__);
        goes_on = adata->error == 0 && !has_reached(direction, adata->volume, target);
        if (goes_on) {
            apply_step(*adata, direction, target, step);
        }
    });
    if (!goes_on) {
        return false;
    }
    if (adata->error != 0) {
        call_on_error(handle_of(player), adata->error);
        return false;
    }
    call_on_volume_change(handle_of(player), adata->volume);
    return true;
}

/// Player's thread: replaces a running fade by one towards `target`, if that lies in this direction.
void start_fade(_qz_audio* player, fade_direction direction, int target)
{
    _audio_data* const adata = get_audio_data(player);
    const std::lock_guard<std::mutex> lock(player->property_mutex);
    if (adata->error != 0) {
        return;
    }
    // A fade up to the current volume goes on, and so replaces a running fade; a fade down does not.
    if (direction == fade_direction::up ? adata->volume > target : target >= adata->volume) {
        return;
    }
    if (player->volume_interval_id != 0) {
        qz_thread_service_clear_interval(player->thread_service, player->volume_interval_id);
        player->volume_interval_id = 0;
    }
    const fade_settings settings = direction == fade_direction::up
                                       ? increment_settings(player->property_list)
                                       : decrement_settings(player->property_list);
    qz_audio_ptr self = handle_of(player);
    auto tick = [self = std::move(self), target, step = settings.step, player, direction] {
        bool goes_on = false;
        run_if_open(player,
                    [&](_qz_audio*) { goes_on = run_fade_step(player, direction, target, step); });
        return goes_on;
    };
    // Sign-extended: a negative timeout is a period of weeks at least.
    const auto period = static_cast<unsigned long>(settings.timeout);
    player->volume_interval_id =
        qz_thread_service_set_interval(player->thread_service, tick, period, __FILE__, __LINE__);
}

/// Player's thread: applies `volume` to the decoder, if there is one, and records and reports it.
void apply_volume(_qz_audio* player, int volume)
{
    _audio_data* const adata = get_audio_data(player);
    if (adata->error != 0) {
        return;
    }
    if (adata->mh != nullptr) {
        adata->error = mpg123_volume(adata->mh, volume / 100.0);
        if (adata->error != 0) {
            call_on_error(handle_of(player), adata->error);
            return;
        }
    }
    adata->volume = volume;
    call_on_volume_change(handle_of(player), volume);
}

} // namespace

void _qz_audio::set_volume(int volume)
{
    post(
        this, [volume](_qz_audio* player) { apply_volume(player, volume); }, __FILE__, __LINE__);
}

bool _qz_audio::volume_increment_timeout_start(int target)
{
    if (target <= 0) {
        return false;
    }
    const int clamped = std::min(target, 100);
    post(
        this, [clamped](_qz_audio* player) { start_fade(player, fade_direction::up, clamped); },
        __FILE__, __LINE__);
    return true;
}

bool _qz_audio::volume_decrement_timeout_start(int target)
{
    const int clamped = std::clamp(target, 0, 100);
    post(
        this, [clamped](_qz_audio* player) { start_fade(player, fade_direction::down, clamped); },
        __FILE__, __LINE__);
    return true;
}
