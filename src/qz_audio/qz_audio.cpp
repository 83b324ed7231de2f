#include "qz_audio/qz_audio.h"

#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_diagnostics.h"
#include "qz_audio/qz_audio_property.h"
#include "qz_audio/qz_audio_property_guard.h"

#include <new>
#include <string>
#include <utility>

// The exported functions that take a handle: each checks it and calls the member of the same name.

namespace
{

/// Returns whether `ptr` has a player; if not, prints a warning that names `function`.
bool check_handle(const qz_audio_ptr& ptr, const char* function)
{
    if (ptr) {
        return true;
    }
    try {
        write_warning("null object supplied: " + in_magenta(function));
    } catch (const std::bad_alloc&) {
        return false; // no warning: an empty handle never throws
    }
    return false;
}

} // namespace

void qz_audio_destroy(qz_audio_ptr ptr, std::string file, int line)
{
    if (check_handle(ptr, __func__)) {
        ptr->destroy(std::move(file), line);
    }
}

void qz_audio_open(qz_audio_ptr ptr)
{
    if (check_handle(ptr, __func__)) {
        ptr->open();
    }
}

void qz_audio_set_audio_track(qz_audio_ptr ptr, std::string file_path)
{
    if (check_handle(ptr, __func__)) {
        ptr->set_audio_track(std::move(file_path));
    }
}

void qz_audio_play(qz_audio_ptr ptr)
{
    if (check_handle(ptr, __func__)) {
        ptr->play();
    }
}

void qz_audio_pause(qz_audio_ptr ptr)
{
    if (check_handle(ptr, __func__)) {
        ptr->pause();
    }
}

void qz_audio_stop(qz_audio_ptr ptr, std::function<void(qz_audio_ptr)> cb)
{
    if (check_handle(ptr, __func__)) {
        ptr->stop(std::move(cb));
    }
}

void qz_audio_set_volume(qz_audio_ptr ptr, int volume)
{
    if (check_handle(ptr, __func__)) {
        ptr->set_volume(volume);
    }
}

bool qz_audio_volume_increment_timeout_start(qz_audio_ptr ptr, int target)
{
    return check_handle(ptr, __func__) && ptr->volume_increment_timeout_start(target);
}

bool qz_audio_volume_decrement_timeout_start(qz_audio_ptr ptr, int target)
{
    return check_handle(ptr, __func__) && ptr->volume_decrement_timeout_start(target);
}

bool qz_audio_set_repeat(qz_audio_ptr ptr, bool b)
{
    return check_handle(ptr, __func__) && ptr->set_repeat(b);
}

qz_audio_status qz_audio_get_playback_status(qz_audio_ptr ptr)
{
    return check_handle(ptr, __func__) ? ptr->get_playback_status() : qz_audio_status_none;
}

std::string qz_audio_get_current_track(qz_audio_ptr ptr)
{
    return check_handle(ptr, __func__) ? ptr->get_current_track() : std::string();
}

bool qz_audio_get_last_error_string(qz_audio_ptr ptr, std::string& last_error)
{
    if (!check_handle(ptr, __func__)) {
        return false;
    }
    // Stores the caller's text instead of returning one: applications rely on it.
    const qz_property_guard lock(*ptr, __FILE__, __LINE__);
    QZ_AUDIO_CHECK("error_str", qz_property_set<std::string> (ptr->property_list,"error_str",last_error));
    return true;
}

bool qz_audio_on_status_change(qz_audio_ptr ptr,
                               std::function<void(qz_audio_ptr, qz_audio_status)> cb)
{
    return check_handle(ptr, __func__) && ptr->on_status_change(std::move(cb));
}

bool qz_audio_on_error(qz_audio_ptr ptr, std::function<void(qz_audio_ptr, int)> cb)
{
    return check_handle(ptr, __func__) && ptr->on_error(std::move(cb));
}

bool qz_audio_on_volume_change(qz_audio_ptr ptr, std::function<void(qz_audio_ptr, int)> cb)
{
    return check_handle(ptr, __func__) && ptr->on_volume_change(std::move(cb));
}

bool qz_audio_set_audio_volume_increment_step(qz_audio_ptr ptr, int v)
{
    return check_handle(ptr, __func__) && ptr->set_audio_volume_increment_step(v);
}

bool qz_audio_set_audio_volume_decrement_step(qz_audio_ptr ptr, int v)
{
    return check_handle(ptr, __func__) && ptr->set_audio_volume_decrement_step(v);
}

bool qz_audio_set_audio_volume_increment_timeout(qz_audio_ptr ptr, int t)
{
    return check_handle(ptr, __func__) && ptr->set_audio_volume_increment_timeout(t);
}

bool qz_audio_set_audio_volume_decrement_timeout(qz_audio_ptr ptr, int t)
{
    return check_handle(ptr, __func__) && ptr->set_audio_volume_decrement_timeout(t);
}
