/// \file
/// \brief The keys of a terminal, as requests.
#pragma once

#include "session/events.h"
#include "terminal/raw_terminal.h"

#include <memory>

/// Reads the terminal on a thread of its own, while this job is in its foreground.
class keyboard
{
public:
    /// `descriptor` is a terminal's.
    keyboard(int descriptor, std::shared_ptr<event_queue> events);
    ~keyboard();

    keyboard(const keyboard&) = delete;
    keyboard& operator=(const keyboard&) = delete;

    /// Gives the terminal back, say while the process is stopped.
    void release();

    /// Takes the terminal again, if this job is in its foreground.
    void take();

private:
    std::shared_ptr<raw_terminal> terminal_;
};
