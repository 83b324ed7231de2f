/// \file
/// \brief The system service: one thread that the whole process shares.
#pragma once

#include "system/task_queue.h"

/// Returns the system service's queue, after starting its thread if this is the first call. It lives as
/// long as the process. Throws `std::system_error` when the thread cannot be started; the next call
/// tries again.
task_queue& system_service();
