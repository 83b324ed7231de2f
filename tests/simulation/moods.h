/// \file
/// \brief What the player's neighbours do, drawn from the seed: whether a call fails, blocks, and for how
/// long.
///
/// Each draw depends on the player, on the function and on how often that player has called it, and not
/// on the schedule, so that a programme's neighbours stay the same while it is shortened.
#pragma once

#include "scheduler.h"

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace simulation
{

class moods
{
public:
    explicit moods(std::uint64_t seed);

    /// Whether this call of `function` fails.
    bool fails(const char* function, int player);

    /// How long this call of `function` blocks; mostly not at all.
    milliseconds blocks(const char* function, int player);

    /// How long a block of sound takes, however long it sounds.
    [[nodiscard]] milliseconds pace() const { return pace_; }

    /// How much the devices buffer that keep real time; nothing where they do not, but take the pace.
    [[nodiscard]] std::optional<milliseconds> buffer() const { return buffer_; }

    [[nodiscard]] std::uint64_t seed() const { return seed_; }

private:
    random_sequence draw(const char* function, int player);

    const std::uint64_t seed_;
    unsigned failures_; ///< Once in so many calls.
    unsigned blocks_;   ///< Once in so many calls.
    milliseconds pace_;
    std::optional<milliseconds> buffer_;
    std::map<std::pair<std::string, int>, std::uint64_t> calls_;
};

/// The moods of the simulation that runs.
moods& neighbours();
void set_neighbours(moods* current);

} // namespace simulation
