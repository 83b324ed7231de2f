/// \file
/// \brief Starting the threads that work off a queue.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Starts a thread named `name` (its first 15 bytes) that does `work`, which must not throw, and then ends.
/// The thread owns `work` and nothing else, so that it and whoever started it may end in any order. It has
/// `stack_size` bytes of stack, of which only what is touched costs memory. It is not detached: that is
/// left to `work`, or to others.
///
/// Throws `std::system_error` when the thread cannot be started.
void start_thread(const std::string& name, std::size_t stack_size, std::function<void()> work);
