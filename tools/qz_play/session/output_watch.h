/// \file
/// \brief Finding out that an output is blocked, or takes the sound far too fast.
#pragma once

#include "session/patience.h"

#include <chrono>

/// The player serves requests between two blocks of sound, so it is asked every second for something that
/// changes nothing. One that answers none for a while waits for an output that takes nothing. One that
/// answers at once is asked on: where block after block brings an answer without a wait, nothing sounds.
class output_watch
{
public:
    using clock = std::chrono::steady_clock;

    static constexpr std::chrono::seconds period = patience::period;

    /// The shortest blocks sound for 8 ms, the usual ones for 26.
    static constexpr std::chrono::milliseconds at_once{4};

    /// As many blocks as no buffer holds: that of an output that has just begun is filled without a wait.
    static constexpr int too_many_at_once = 1000;

    enum class duty { none, ask, give_up };

    /// The player has answered, or begins to play.
    void answered(clock::time_point now);

    /// Returns what is to be done while it plays. To be called after each answer, and at least every
    /// `period`.
    duty look(clock::time_point now);

    /// The same while it owes an answer to something else: there is nothing to ask.
    duty await(clock::time_point now);

    /// Returns whether the output waits for nothing.
    [[nodiscard]] bool rushes() const { return answers_at_once_ >= too_many_at_once; }

    /// Returns whether a whole track of this length took too little time to have been heard. Of its last
    /// seconds much may still be in a buffer, and clocks differ a little.
    static bool is_too_soon(std::chrono::duration<double> elapsed,
                            std::chrono::duration<double> length)
    {
        constexpr std::chrono::duration<double> buffer{2};
        constexpr double difference = 0.03;
        return elapsed + buffer < (1 - difference) * length;
    }

private:
    clock::time_point asked_{};
    patience patience_;
    bool awaits_ = false;
    int answers_at_once_ = 0;
};
