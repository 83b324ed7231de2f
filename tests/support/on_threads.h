/// \file
/// \brief Doing the same on several threads at once.
#pragma once

#include "event.h"

#include <thread>
#include <vector>

/// Calls `work` with 0, 1, ... on so many threads, which start together, and waits for their ends.
template <typename Work>
void on_threads(unsigned count, const Work& work)
{
    event start;
    std::vector<std::thread> threads;
    threads.reserve(count);
    for (unsigned number = 0; number < count; ++number) {
        threads.emplace_back([&start, &work, number] {
            if (start.wait()) {
                work(number);
            }
        });
    }
    start.set();
    for (auto& thread : threads) {
        thread.join();
    }
}
