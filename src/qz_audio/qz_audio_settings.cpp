#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_property.h"

#include <mutex>
#include <string>
#include <utility>

// Queries, settings and callbacks: one checked access each, on the caller's thread.

qz_audio_status _qz_audio::get_playback_status()
{
    qz_audio_status status = qz_audio_status_none;
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("status", qz_property_get_extract<qz_audio_status> (property_list,"status",&status));
    return status;
}

std::string _qz_audio::get_current_track()
{
    std::string current_track;
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("audio_track", qz_property_get_extract<std::string> (property_list,"audio_track",&current_track));
    return current_track;
}

bool _qz_audio::on_status_change(std::function<void(qz_audio_ptr, qz_audio_status)> cb)
{
    // Created before the lock, and swapped for the old one, which is destroyed after it: both may run user code.
    boost::any function(std::move(cb));
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK_AS(
        "on_status_changed",
        R"(qz_property_set<std::function<void(qz_audio_ptr,qz_audio_status)>>(property_list,"on_status_changed",cb))",
        qz_property_exchange(property_list, "on_status_changed", function));
    return true;
}

bool _qz_audio::on_error(std::function<void(qz_audio_ptr, int)> cb)
{
    boost::any function(std::move(cb));
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK_AS(
        "on_error",
        R"(qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,"on_error",cb))",
        qz_property_exchange(property_list, "on_error", function));
    return true;
}

bool _qz_audio::on_volume_change(std::function<void(qz_audio_ptr, int)> cb)
{
    boost::any function(std::move(cb));
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK_AS(
        "on_volume_change",
        R"(qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,"on_volume_change",cb))",
        qz_property_exchange(property_list, "on_volume_change", function));
    return true;
}

bool _qz_audio::set_audio_volume_increment_step(int v)
{
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("volume_increment_step", qz_property_set<int>(property_list,"volume_increment_step",v));
    return true;
}

bool _qz_audio::set_audio_volume_decrement_step(int v)
{
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("volume_decrement_step", qz_property_set<int>(property_list,"volume_decrement_step",v));
    return true;
}

bool _qz_audio::set_audio_volume_increment_timeout(int t)
{
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("volume_increment_timeout", qz_property_set<int>(property_list,"volume_increment_timeout",t));
    return true;
}

bool _qz_audio::set_audio_volume_decrement_timeout(int t)
{
    const std::lock_guard<std::mutex> lock(property_mutex);
    QZ_AUDIO_CHECK("volume_decrement_timeout", qz_property_set<int>(property_list,"volume_decrement_timeout",t));
    return true;
}
