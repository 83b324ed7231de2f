#include "shorten.h"

#include <algorithm>
#include <vector>

namespace simulation
{

namespace
{

/// A programme with less in it meets the defect in other schedules.
constexpr std::uint64_t schedules_tried = 1000;

std::optional<defect> find_again(const programme& shorter, const std::string& invariant)
{
    auto found = run_schedules_apart(shorter, schedules_tried);
    return found && found->invariant == invariant ? found : std::nullopt;
}

std::vector<std::size_t> kept_commands(const programme& of)
{
    std::vector<std::size_t> kept;
    for (std::size_t i = 0; i < of.kept.size(); ++i) {
        if (of.kept[i]) {
            kept.push_back(i);
        }
    }
    return kept;
}

programme without(programme longer, const std::vector<std::size_t>& commands, std::size_t from,
                  std::size_t count)
{
    for (std::size_t i = from; i < std::min(from + count, commands.size()); ++i) {
        longer.kept[commands[i]] = false;
    }
    return longer;
}

/// Tries to do without each stretch of `length` commands. Returns whether one could go.
bool leave_out(defect& found, std::size_t length)
{
    bool shorter = false;
    std::size_t from = 0;
    for (;;) {
        const auto commands = kept_commands(found.shown_by);
        if (from >= commands.size()) {
            return shorter;
        }
        auto again = find_again(without(found.shown_by, commands, from, length), found.invariant);
        if (again) {
            found = *again;
            shorter = true;
        } else {
            from += length;
        }
    }
}

} // namespace

defect shorten(const defect& found)
{
    defect shortest = found;
    std::size_t length = std::max<std::size_t>(1, found.shown_by.commands.size() / 2);
    for (;;) {
        const bool shorter = leave_out(shortest, length);
        if (length == 1 && !shorter) {
            return shortest;
        }
        length = std::max<std::size_t>(1, length / 2);
    }
}

} // namespace simulation
