/// \file
/// \brief What an application thread, or a callback, can do in one step of its programme.
#pragma once

namespace simulation
{

/// The 23 functions of the interface, and what an application does besides.
enum class operation : unsigned char {
    create,
    destroy,
    set_bin_path,
    get_bin_path,
    open,
    set_track,
    play,
    pause,
    stop,
    set_volume,
    fade_up,
    fade_down,
    set_repeat,
    get_status,
    get_track,
    get_error_string,
    on_status_change,
    on_error,
    on_volume_change,
    set_increment_step,
    set_decrement_step,
    set_increment_timeout,
    set_decrement_timeout,
    drop_handle,
    keep_handle,
    sleep,
    throw_exception,
    none,
};

constexpr unsigned operation_count = static_cast<unsigned>(operation::none);

/// The function's name, or a word for what is none.
const char* name_of(operation what);

} // namespace simulation
