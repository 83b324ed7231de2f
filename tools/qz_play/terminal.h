/// \file
/// \brief Reads keys from a terminal in raw mode.
#pragma once

#include "event_loop.h"
#include "keymap.h"

#include <functional>
#include <string>

/// Opens the terminal at `descriptor` again, with O_NONBLOCK. A duplicate would share that flag with other programs. If
/// `descriptor` is not a terminal, duplicates it.
int reopen_terminal(int descriptor, int mode);

/// Returns false if another job is in the foreground of the terminal at `descriptor`.
bool is_in_foreground(int descriptor);

/// Restores the mode of the terminal, if it is in raw mode and no other job uses it. May be called in a signal handler.
void restore_terminal();

/// Reads keys while this job is in the foreground. In the background, checks every 500 ms whether it is back there. In
/// raw mode the terminal sends each key immediately and echoes none. The destructor restores the former mode. SIGTTIN
/// and SIGTTOU must be blocked or ignored. Only one object may exist at a time.
class terminal
{
public:
    using command_handler = std::function<void(const user_command&)>;
    using number_handler = std::function<void(const std::string&)>;

    /// Opens the terminal at `descriptor` again and reads it. `show_number` is called with the number that is being
    /// typed, and with an empty text when the number is complete or discarded. Throws `std::system_error`.
    terminal(event_loop& loop, int descriptor, command_handler perform, number_handler show_number);
    terminal(const terminal&) = delete;
    terminal& operator=(const terminal&) = delete;

    /// Restores the former mode and reads nothing until `acquire`. Call this before the process stops.
    void release();

    /// Enters raw mode and reads keys as soon as this job is in the foreground.
    void acquire();

private:
    struct mode_restorer {
        ~mode_restorer();
        const int descriptor;
    };

    void read_keys();
    void press(key pressed);

    const command_handler perform_;
    const number_handler show_number_;
    bool open_ = true;
    key_parser parser_;
    keymap keymap_;
    const mode_restorer opened_;
    descriptor_watch input_;
    timer foreground_check_;
    timer sequence_timeout_;
    timer number_timeout_;
};
