/// \file
/// \brief The commands that a user gives by a key, through another program or by a signal.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <variant>

/// What is repeated when it has ended.
enum class loop_mode { none, track, list };

namespace command
{

struct play {
};
/// Does not affect a stopped track.
struct pause {
};
struct toggle_pause {
};
/// Stops the track. `play` then starts it from its beginning.
struct stop {
};
/// Fades out and stops.
struct fade_out {
};
struct next {
};
struct previous {
};
/// Plays the track with this number, counted from 1.
struct jump {
    std::size_t number;
};
/// The library cannot seek: only reports that.
struct seek {
};
/// In percent; clamped to 0 and 100.
struct set_volume {
    int percent;
};
struct change_volume {
    int by;
};
struct toggle_mute {
};
struct set_loop {
    loop_mode mode;
};
/// Switches to the next mode: none, track, list, none.
struct cycle_loop {
};
struct set_shuffle {
    bool on;
};
/// Plays the file, playlist or folder at `path` now, and then continues with the list.
struct open {
    std::string path;
    /// Called once, on the loop's thread. `problem` is empty, or says why nothing is played.
    std::function<void(const std::string& problem)> reply;
};
struct show_info {
};
struct show_help {
};
/// Prints the tracks of the list around the current one.
struct show_list {
};
struct quit {
};

} // namespace command

using user_command =
    std::variant<command::play, command::pause, command::toggle_pause, command::stop,
                 command::fade_out, command::next, command::previous, command::jump, command::seek,
                 command::set_volume, command::change_volume, command::toggle_mute,
                 command::set_loop, command::cycle_loop, command::set_shuffle, command::open,
                 command::show_info, command::show_help, command::show_list, command::quit>;
