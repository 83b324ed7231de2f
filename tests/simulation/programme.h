/// \file
/// \brief What the application does in a simulation, drawn from a seed.
#pragma once

#include "operation.h"

#include <cstdint>
#include <string>
#include <vector>

namespace simulation
{

/// Who does something: a thread of the application, or a callback that was registered by a command.
struct actor {
    bool is_callback;
    unsigned index; ///< Of the thread, or of the command.
};

struct command {
    operation what;
    actor by;
    unsigned slot; ///< The player, as the application counts them; `told_player` in a callback.
    int argument;
};

/// In a callback: the player that it is told of.
constexpr unsigned told_player = ~0U;

/// The commands of each actor are done in the order in which they stand here.
struct programme {
    std::uint64_t seed;
    std::uint64_t schedule; ///< The seed of the schedule.
    unsigned players;
    unsigned threads;
    std::vector<command> commands;
    std::vector<bool> kept; ///< Which commands are left, where it has been shortened.
};

programme draw_programme(std::uint64_t seed);

/// Returns the programme as text, a command a line.
std::string describe(const programme& of);

} // namespace simulation
