/// \file
/// \brief Times of events, which several programs and a device write into one file, on one clock.
#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

#include <fcntl.h>
#include <unistd.h>

/// Appends the line "WHAT NANOSECONDS" to the file that the environment variable BENCH_EVENTS names. The
/// time is the one at the call, of the monotonic clock.
inline void log_event(const char* what)
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long nanoseconds = now.tv_sec * 1'000'000'000LL + now.tv_nsec;
    const std::string line = std::string(what) + ' ' + std::to_string(nanoseconds) + '\n';
    const int file = open(std::getenv("BENCH_EVENTS"), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file < 0 || write(file, line.data(), line.size()) < 0) {
        std::abort(); // a result without this event would be wrong
    }
    close(file);
}
