/// \file
/// \brief Joining the threads that have ended.
#pragma once

/// Thread that ends: has the system service join it, of which nothing is left then.
///
/// Threads that nobody joins free their stacks themselves and wait for each other there: the end of a
/// thousand takes half as long again.
void leave_to_be_joined() noexcept;

/// Once, when the system service starts: sees to it that no thread is left to be joined when the process
/// has ended.
void join_all_at_exit();
