/// \file
/// \brief Recovery from a temporary lack of memory.
#pragma once

#include <chrono>
#include <new>
#include <optional>
#include <thread>

/// Runs `step`, and runs it again after a pause each time it throws `std::bad_alloc`. After a second it throws
/// that exception to the caller. `step` must be repeatable after any part of it, and must not retry itself. The
/// caller holds no lock.
template <typename Step>
void retry_on_bad_alloc(const Step& step)
{
    using clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds pause(1);
    std::optional<clock::time_point> end; // read only after a failure
    for (;;) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            if (!end) {
                end = clock::now() + std::chrono::seconds(1);
            } else if (clock::now() >= *end) {
                throw;
            }
        }
        std::this_thread::sleep_for(pause);
    }
}
