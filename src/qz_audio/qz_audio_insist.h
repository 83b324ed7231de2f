/// \file
/// \brief Steps that have to be done, also where memory is short for a while.
#pragma once

#include <chrono>
#include <new>
#include <thread>

/// Does `step`; does it again, after a rest, while it lacks memory. `step` can be done again after any part
/// of it, and no lock is held here. Throws `std::bad_alloc` when memory still lacks after about a second.
template <typename Step>
void insist(const Step& step)
{
    constexpr int attempts = 1000;
    constexpr std::chrono::milliseconds rest(1);
    for (int attempt = 1; attempt < attempts; ++attempt) {
        try {
            step();
            return;
        } catch (const std::bad_alloc&) {
            std::this_thread::sleep_for(rest);
        }
    }
    step();
}
