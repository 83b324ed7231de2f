/// \file
/// \brief Starting the threads that work off a queue.
#pragma once

#include "system/task_queue.h"

#include <cstddef>
#include <memory>
#include <string>

/// Starts a thread named `name` (its first 15 bytes) that works off `queue` until the queue is stopped.
/// The thread owns its queue and nothing else, so that it and whoever posts to it may end in any order.
/// It has `stack_size` bytes of stack, of which only what is touched costs memory.
///
/// Throws `std::system_error` when the thread cannot be started.
void start_worker(const std::string& name, std::shared_ptr<task_queue> queue,
                  std::size_t stack_size);
