/// \file
/// \brief Finding out that an output is blocked.
#pragma once

#include <chrono>

/// The player serves requests between two blocks of sound: one that answers none for a while waits for an
/// output that takes nothing. So it is asked every second for something that changes nothing.
class output_watch
{
public:
    using clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds period{1};
    static constexpr std::chrono::seconds longest_silence{5};

    enum class duty { none, ask, give_up };

    /// The player has answered, or begins to play.
    void answered(clock::time_point now) { heard_ = now; }

    /// Returns what is to be done. To be called at least every `period`: whoever was not, because the
    /// process was stopped, knows nothing of the player's silence.
    duty look(clock::time_point now);

private:
    clock::time_point heard_{};
    clock::time_point asked_{};
    clock::time_point looked_{};
};
