/// \file
/// \brief Durations that are judged by how they are spread, and not by their mean.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

class distribution
{
public:
    void add(std::chrono::steady_clock::duration measured)
    {
        microseconds_.push_back(std::chrono::duration<double, std::micro>(measured).count());
    }

    /// Adds the counters "least_us", "median_us" and "p99_us" to what the benchmark reports.
    void report(benchmark::State& state)
    {
        if (microseconds_.empty()) {
            state.SkipWithError("nothing was measured");
            return;
        }
        std::sort(microseconds_.begin(), microseconds_.end());
        state.counters["least_us"] = microseconds_.front();
        state.counters["median_us"] = percentile(50);
        state.counters["p99_us"] = percentile(99);
    }

private:
    [[nodiscard]] double percentile(std::size_t percent) const
    {
        return microseconds_.at((microseconds_.size() - 1) * percent / 100);
    }

    std::vector<double> microseconds_;
};
