/// \file
/// \brief Steps that have to be done, also where memory is short for a while.
#pragma once

#include <chrono>
#include <new>
#include <optional>
#include <thread>

/// Does `step`; does it again, after a rest, while it lacks memory. `step` can be done again after any part
/// of it, does not insist itself, and no lock is held here. Throws `std::bad_alloc` when memory still lacks
/// after a second.
template <typename Step>
void insist(const Step& step)
{
    using clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds rest(1);
    std::optional<clock::time_point> end; // not asked for where all goes well
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
        std::this_thread::sleep_for(rest);
    }
}
