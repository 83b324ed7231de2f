#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_property_guard.h"
#include "qz_audio/qz_audio_retry.h"
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

void _qz_audio::open()
{
    post(this, do_open, __FILE__, __LINE__);
}

void _qz_audio::set_audio_track(std::string file_path)
{
    auto load = [file_path = std::move(file_path)](_qz_audio* player) {
        retry_on_bad_alloc([&] { store_track(*player, file_path); });
        do_set_audio_track(player);
    };
    post_halt(
        this, [load = std::move(load)](_qz_audio* player) { run_if_open(player, load); }, __FILE__,
        __LINE__);
}

void _qz_audio::play()
{
    post(this, do_play, __FILE__, __LINE__);
}

void _qz_audio::pause()
{
    post(this, do_pause, __FILE__, __LINE__);
}

void _qz_audio::stop(std::function<void(qz_audio_ptr)> cb)
{
    auto stop_and_complete = [cb = std::move(cb)](_qz_audio* player) {
        run_finally([&] { run_if_open(player, do_stop); }, [&] { post_completion(player, cb); });
    };
    post_halt(this, std::move(stop_and_complete), __FILE__, __LINE__);
}

bool _qz_audio::set_repeat(bool b)
{
    post(
        this, [b](_qz_audio* player) { get_audio_data(player)->repeat = b; }, __FILE__, __LINE__);
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("repeat", qz_property_set<bool>(property_list,"repeat",b));
    return true;
}
