/// \file
/// \brief How long silence is borne.
#pragma once

#include <chrono>
#include <utility>

/// Begins with the first look. An output may legitimately take some seconds to open.
class patience
{
public:
    using clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds period{1};
    static constexpr std::chrono::seconds longest_silence{10};

    void heard(clock::time_point now) { heard_ = now; }

    /// Returns whether the silence has become too long. To be called at least every `period`: whoever was
    /// not, because the process was stopped, knows nothing of the silence.
    bool is_over(clock::time_point now)
    {
        const bool was_away = now - std::exchange(looked_, now) > 2 * period;
        if (was_away) {
            heard_ = now;
        }
        return now - heard_ > longest_silence;
    }

private:
    clock::time_point heard_{};
    clock::time_point looked_{};
};
