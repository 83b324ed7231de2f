/// \file
/// \brief Retries while memory is exhausted.
#pragma once

#include "qz_audio/qz_audio_clock.h"

#include <new>
#include <optional>

/// Runs `step`, and runs it again after a pause each time it throws `std::bad_alloc`. After a second it throws
/// that exception to the caller. `step` must be repeatable wherever it has thrown, and must not retry itself.
/// The caller holds no lock.
template <typename Step>
void retry_on_bad_alloc(const Step& step)
{
    std::optional<time_point> deadline; // the clock is read only after a failure
    for (;;) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            if (!deadline) {
                deadline = clock_now() + std::chrono::seconds(1);
            } else if (clock_now() >= *deadline) {
                throw;
            }
        }
        clock_sleep(std::chrono::milliseconds(1));
    }
}
