#include "programme.h"

#include "random.h"

#include <limits>

namespace simulation
{

namespace
{

/// How often each operation is drawn; what makes sound more often than what only asks.
struct weight {
    operation what;
    unsigned share;
};

constexpr weight weights[] = {
    {operation::destroy, 4},
    {operation::set_bin_path, 1},
    {operation::get_bin_path, 1},
    {operation::open, 3},
    {operation::set_track, 14},
    {operation::play, 20},
    {operation::pause, 8},
    {operation::stop, 10},
    {operation::set_volume, 6},
    {operation::fade_up, 4},
    {operation::fade_down, 6},
    {operation::set_repeat, 4},
    {operation::get_status, 2},
    {operation::get_track, 2},
    {operation::get_error_string, 1},
    {operation::on_status_change, 5},
    {operation::on_error, 4},
    {operation::on_volume_change, 4},
    {operation::set_increment_step, 1},
    {operation::set_decrement_step, 2},
    {operation::set_increment_timeout, 1},
    {operation::set_decrement_timeout, 2},
    {operation::drop_handle, 2},
    {operation::keep_handle, 2},
    {operation::sleep, 8},
};

constexpr unsigned total_weight()
{
    unsigned total = 0;
    for (const weight& each : weights) {
        total += each.share;
    }
    return total;
}

operation draw_operation(random_sequence& choices)
{
    unsigned drawn = choices.below(total_weight());
    for (const weight& each : weights) {
        if (drawn < each.share) {
            return each.what;
        }
        drawn -= each.share;
    }
    return operation::none;
}

int draw_argument(random_sequence& choices, operation what)
{
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int smallest = std::numeric_limits<int>::min();
    switch (what) {
    case operation::set_track:
    case operation::set_bin_path:
    case operation::get_error_string:
        return static_cast<int>(choices.below(6));
    case operation::set_volume:
        return choices.one_of({100, 100, 70, 45, 0, -5, 250, largest, smallest});
    case operation::fade_up:
    case operation::fade_down:
        return choices.one_of({100, 50, 45, 10, 0, -3, 150});
    case operation::set_repeat:
        return choices.one_of({0, 1});
    case operation::stop:
    case operation::on_status_change:
    case operation::on_error:
    case operation::on_volume_change:
        return choices.one_in(6) ? 0 : 1; // 0 for an empty function
    case operation::set_increment_step:
    case operation::set_decrement_step:
        return choices.one_of({1, 10, 30, 100, 0, -3, largest});
    case operation::set_increment_timeout:
    case operation::set_decrement_timeout:
        return choices.one_of({1, 10, 100, 500, 0, -1});
    case operation::sleep:
        return choices.one_of({1, 26, 100, 1000, 30'000});
    default:
        return 0;
    }
}

bool takes_callback(const command& of)
{
    return of.argument != 0 &&
           (of.what == operation::stop || of.what == operation::on_status_change ||
            of.what == operation::on_error || of.what == operation::on_volume_change);
}

/// What a callback does: mostly nothing.
void draw_callback(random_sequence& choices, programme& into, unsigned owner)
{
    const unsigned length = choices.one_of({0U, 0U, 1U, 1U, 2U, 3U});
    for (unsigned i = 0; i < length; ++i) {
        const operation what =
            choices.one_in(12) ? operation::throw_exception : draw_operation(choices);
        const unsigned slot = choices.one_in(3) ? choices.below(into.players) : told_player;
        into.commands.push_back({what, {true, owner}, slot, draw_argument(choices, what)});
    }
}

/// Each player is made once, near the start, by any thread.
void draw_players(random_sequence& choices, programme& into)
{
    for (unsigned slot = 0; slot < into.players; ++slot) {
        into.commands.push_back({operation::create, {false, choices.below(into.threads)}, slot, 0});
    }
}

void draw_calls(random_sequence& choices, programme& into)
{
    const unsigned length = choices.one_of({4U, 8U, 16U, 30U, 60U});
    for (unsigned i = 0; i < length; ++i) {
        const operation what = draw_operation(choices);
        const actor by{false, choices.below(into.threads)};
        const unsigned slot = choices.below(into.players);
        into.commands.push_back({what, by, slot, draw_argument(choices, what)});
    }
}

void draw_callbacks(random_sequence& choices, programme& into)
{
    constexpr std::size_t most_commands = 100;
    for (unsigned i = 0; i < into.commands.size() && into.commands.size() < most_commands; ++i) {
        if (takes_callback(into.commands[i])) {
            draw_callback(choices, into, i);
        }
    }
}

std::string describe(const actor& by)
{
    return (by.is_callback ? "callback of " : "thread ") + std::to_string(by.index);
}

std::string describe(const command& what)
{
    std::string text = name_of(what.what);
    text += what.slot == told_player ? ", told player" : ", player " + std::to_string(what.slot);
    return text + ", " + std::to_string(what.argument);
}

} // namespace

programme draw_programme(std::uint64_t seed)
{
    random_sequence choices(seed);
    programme drawn{seed, seed, 0, 0, {}, {}};
    drawn.players = 1 + choices.one_of({0U, 0U, 0U, 1U, 2U, choices.below(5)});
    drawn.threads = 1 + choices.below(4);
    draw_players(choices, drawn);
    draw_calls(choices, drawn);
    draw_callbacks(choices, drawn);
    drawn.kept.assign(drawn.commands.size(), true);
    return drawn;
}

std::string describe(const programme& of)
{
    std::string text;
    for (std::size_t i = 0; i < of.commands.size(); ++i) {
        if (of.kept[i]) {
            text += "  " + std::to_string(i) + ": " + describe(of.commands[i].by) + ": " +
                    describe(of.commands[i]) + "\n";
        }
    }
    return text;
}

} // namespace simulation
