/// \file
/// \brief Retries while memory is exhausted.
#pragma once

#include "qz_audio/qz_audio_clock.h"

#include <new>
#include <optional>

/// Runs `step`, and runs it again after a pause each time it throws `std::bad_alloc`. After a second it throws
/// that exception to the caller. `step` must be repeatable after any part of it, and must not retry itself. The
/// caller holds no lock.
template <typename Step>
void retry_on_bad_alloc(const Step& step)
{
    std::optional<time_point> end; // the clock is read only after a failure
    for (;;) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            if (!end) {
                end = clock_now() + std::chrono::seconds(1);
            } else if (clock_now() >= *end) {
                throw;
            }
        }
        clock_sleep(std::chrono::milliseconds(1));
    }
}
