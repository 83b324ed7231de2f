/// \file
/// \brief Hides what libraries write to standard error, and prints it after a crash.
#pragma once

#include "event_loop.h"

#include <optional>

/// While an object exists, it hides everything written to standard error, and keeps the last 4 KiB for a crash. Only
/// one object may exist at a time. Child processes inherit the hidden standard error.
class quiet_stderr
{
public:
    /// Throws `std::system_error`.
    explicit quiet_stderr(event_loop& loop);
    ~quiet_stderr();
    quiet_stderr(const quiet_stderr&) = delete;
    quiet_stderr& operator=(const quiet_stderr&) = delete;

private:
    std::optional<descriptor_watch> drain_;
};

/// Calls `clean_up` before SIGABRT, SIGSEGV or a similar signal ends the process, then prints the hidden text. That
/// includes the messages of `std::terminate` and `assert`. `clean_up` is called in a signal handler.
void handle_crashes(void (*clean_up)());
