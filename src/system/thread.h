/// \file
/// \brief Starts the threads that run a queue.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// Starts a detached thread named `name` (its first 15 bytes), which runs `work` and then ends. `work` must
/// not throw. The thread owns `work` and nothing else, so it may outlive its creator. It has `stack_size` bytes
/// of stack, of which only what is touched costs memory.
///
/// Throws `std::system_error` if the thread cannot be started.
void start_thread(const std::string& name, std::size_t stack_size, std::function<void()> work);
