/// \file
/// \brief The signals that ask the program to end.
#pragma once

#include "events.h"

#include <functional>
#include <memory>

/// Keeps those signals from interrupting this thread and all that it starts from now on. To be called
/// before any other thread exists.
void block_end_signals();

/// Starts the thread that waits for them. The first one becomes an event; the next one calls
/// `clean_up` and ends the process at once, whatever its other threads are stuck in.
void watch_end_signals(std::shared_ptr<event_queue> events, std::function<void()> clean_up);
