/// \file
/// \brief Handles the signals that a user or a shell sends.
#pragma once

#include "event_loop.h"

#include <functional>
#include <list>

/// Blocks the watched signals in this thread and in the threads that it starts later. A signal that is ignored, such
/// as SIGHUP under nohup, stays ignored. Ignores SIGPIPE and SIGXFSZ, so that a write reports the failure.
void block_signals();

/// Also blocks SIGTTIN and SIGTTOU. Then using the terminal in the background fails instead of stopping the process.
void block_terminal_signals();

/// Stops the process, as Ctrl-Z does by default. Returns when it continues.
void stop_this_process();

/// Calls a handler for each signal that `block_signals` has blocked.
class signal_watches
{
public:
    struct handlers {
        std::function<void()> end;
        std::function<void()> suspend;   ///< A stop is requested, for example by Ctrl-Z.
        std::function<void()> continued; ///< The process continues after a stop.
        std::function<void()> resized;   ///< The size of the window has changed.
    };

    signal_watches(event_loop& loop, const handlers& handle);

private:
    std::list<signal_watch> watches_;
};
