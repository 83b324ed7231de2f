/// \file
/// \brief What a user can ask for, by a key, from another program or by a signal.
#pragma once

#include <string>
#include <variant>

/// What is played again when it has ended.
enum class loop_mode { none, track, list };

namespace request
{

struct play {
};
/// Pauses what plays; what is paused stays so.
struct pause {
};
struct toggle_pause {
};
/// Ends the track and waits at its start.
struct stop {
};
/// Falls to silence first, and then stops.
struct fade_out {
};
struct next {
};
struct previous {
};
/// In percent; what lies beyond 0 or 100 counts as these.
struct set_volume {
    int volume;
};
struct change_volume {
    int by;
};
struct toggle_mute {
};
struct set_loop {
    loop_mode mode;
};
/// Goes from one mode to the next: none, track, list.
struct cycle_loop {
};
struct set_shuffle {
    bool on;
};
/// Plays the file at `path`, or the tracks of the list that it is, at once and then goes on behind the track
/// that it breaks off.
struct open {
    std::string path;
};
/// Tells what is known of the track.
struct show_info {
};
/// Tells what the keys do.
struct show_help {
};
/// Ends the program; no failure.
struct quit {
};

} // namespace request

using user_request =
    std::variant<request::play, request::pause, request::toggle_pause, request::stop,
                 request::fade_out, request::next, request::previous, request::set_volume,
                 request::change_volume, request::toggle_mute, request::set_loop,
                 request::cycle_loop, request::set_shuffle, request::open, request::show_info,
                 request::show_help, request::quit>;
