/// \file
/// \brief Letting go of the threads that have ended.
#pragma once

/// Thread that ends: leaves its stack to the system service.
///
/// Threads that free their stacks themselves wait for each other there: the end of a thousand takes half
/// as long again.
void leave_stack_to_system_service() noexcept;

/// Before the system service is started, each time: lets the process end without a thread that nobody has let go of.
void let_go_of_threads_at_exit();
