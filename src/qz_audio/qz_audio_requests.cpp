#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_property_lock.h"
#include "qz_audio/qz_audio_task.h"

#include <mutex>
#include <string>
#include <utility>

namespace
{

void store_track(_qz_audio& player, const std::string& file_path)
{
    property_list& property_list = player.property_list;
    const qz_property_guard lock(player, __FILE__, __LINE__);
    QZ_AUDIO_CHECK("audio_track", qz_property_set<std::string>(property_list,"audio_track",file_path));
}

} // namespace

void hand_over(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb)
{
    if (!cb) {
        return;
    }
    const qz_audio_ptr self = handle_of(player);
    qz_system_service_exec([cb, self, player] { cb(handle_of(player)); }, __FILE__, __LINE__);
}

// Each request hands the player's thread one task, whose closure holds a handle, the call's arguments
// and the player.

void _qz_audio::open()
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service, [self, this] { unless_closed(this, [this] { do_open(this); }); }, __FILE__,
        __LINE__);
}

void _qz_audio::set_audio_track(std::string file_path)
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service,
        [self, file_path = std::move(file_path), this] {
            unless_closed(this, [&file_path, this] {
                store_track(*this, file_path);
                do_set_audio_track(this);
            });
        },
        __FILE__, __LINE__);
}

void _qz_audio::play()
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service, [self, this] { unless_closed(this, [this] { do_play(this); }); }, __FILE__,
        __LINE__);
}

void _qz_audio::pause()
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service, [self, this] { unless_closed(this, [this] { do_pause(this); }); }, __FILE__,
        __LINE__);
}

void _qz_audio::stop(std::function<void(qz_audio_ptr)> cb)
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service,
        [self, cb = std::move(cb), this] {
            unless_closed(this, [this] { do_stop(this); });
            hand_over(this, cb);
        },
        __FILE__, __LINE__);
}

bool _qz_audio::set_repeat(bool b)
{
    const qz_audio_ptr self = handle_of(this);
    qz_thread_service_exec(
        thread_service,
        [self, b, this] { unless_closed(this, [b, this] { get_audio_data(this)->repeat = b; }); },
        __FILE__, __LINE__);
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("repeat", qz_property_set<bool>(property_list,"repeat",b));
    return true;
}
