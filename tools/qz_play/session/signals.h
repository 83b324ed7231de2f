/// \file
/// \brief The signals that a user or a shell sends.
#pragma once

#include "session/events.h"

#include <functional>
#include <memory>

/// Keeps those signals from interrupting this thread and all that it starts from now on. To be called
/// before any other thread exists.
void block_watched_signals();

/// Starts the thread that waits for them and turns them into events. The second one that asks for the end
/// calls `clean_up` and ends the process at once, whatever its other threads are stuck in.
void watch_signals(std::shared_ptr<event_queue> events, std::function<void()> clean_up);

/// Stops the process as Ctrl-Z does otherwise, and returns when it goes on.
void stop_this_process();
