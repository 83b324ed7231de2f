#include "keymap.h"

#include <gmock/gmock.h>

#include <utility>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

std::optional<user_command> command_of(const std::string& bytes)
{
    std::optional<user_command> last;
    keymap keys;
    for (const key pressed : key_parser().feed(bytes)) {
        last = keys.press(pressed);
    }
    return last;
}

template <class Command>
void expect_all(const std::vector<std::string>& keys)
{
    for (const std::string& bytes : keys) {
        const auto command = command_of(bytes);
        EXPECT_TRUE(command && std::holds_alternative<Command>(*command)) << bytes;
    }
}

} // namespace

TEST(keys, have_the_commands_of_their_help)
{
    expect_all<command::toggle_pause>({" ", "p"});
    expect_all<command::stop>({"s"});
    expect_all<command::next>({"n", ">"});
    expect_all<command::previous>({"b", "<"});
    expect_all<command::toggle_mute>({"m"});
    expect_all<command::cycle_loop>({"r"});
    expect_all<command::fade_out>({"f"});
    expect_all<command::show_info>({"i"});
    expect_all<command::show_list>({"l"});
    expect_all<command::show_help>({"h", "?"});
    expect_all<command::quit>({"q", "Q"});
    expect_all<command::seek>({"\x1b[C", "\x1bOC", "\x1b[D", "\x1bOD"});
    EXPECT_THAT(key_help(), Contains("l           show the tracks around the current one"));
}

TEST(keys, change_the_volume_both_ways)
{
    for (const auto& [bytes, change] : {std::pair{"+", 5},
                                        {"=", 5},
                                        {"0", 5},
                                        {"\x1b[A", 5},
                                        {"\x1bOA", 5}, //
                                        {"-", -5},
                                        {"9", -5},
                                        {"\x1b[B", -5},
                                        {"\x1bOB", -5}}) {
        EXPECT_EQ(std::get<command::change_volume>(command_of(bytes).value()).by, change) << bytes;
    }
}

TEST(keys, of_other_kinds_do_nothing_and_hide_no_other)
{
    for (const std::string other :
         {"x", "\x11", "\t", "\n", "\x7f", "\xc3\xa4", "\x1b[15~", "\x1b[1;5A", "\x1bOP", "\x1b[Z",
          "\x1bq", "\x1b\x1bq", "\x1b[\x11", "\x1b]11;rgb:q\a", "\x1b]q\x1b\\"}) {
        EXPECT_FALSE(command_of(other)) << other;
        expect_all<command::quit>({other + "q"});
    }
    expect_all<command::quit>({"\x1b[1\x1b[Cq"});
}

TEST(keys, come_from_any_pieces)
{
    key_parser parser;
    EXPECT_THAT(parser.feed("\x1b"), IsEmpty());
    EXPECT_TRUE(parser.has_partial_sequence());
    EXPECT_THAT(parser.feed("["), IsEmpty());
    EXPECT_THAT(parser.feed("Bq\r"), ElementsAre(key::down, key{'q'}, key::enter));
    EXPECT_FALSE(parser.has_partial_sequence());
    parser.feed("\x1b[1");
    parser.reset();
    EXPECT_FALSE(parser.has_partial_sequence());
    EXPECT_THAT(parser.feed("q"), ElementsAre(key{'q'}));
}

TEST(numbers, and_enter_jump)
{
    for (const auto& [bytes, number] : {std::pair{"12\n", 12U},
                                        {"109\r", 109U},
                                        {"#9\n", 9U},
                                        {"9#9\n", 9U},
                                        {"#090\n", 90U},
                                        {"11111111111111111111111111\n", 111'111'111U}}) {
        EXPECT_EQ(std::get<command::jump>(command_of(bytes).value()).number, number) << bytes;
    }
    EXPECT_FALSE(command_of("#\n"));
    EXPECT_FALSE(command_of("#00\n"));
}

TEST(numbers, are_dropped_by_another_key)
{
    keymap keys;
    EXPECT_FALSE(keys.press(key{'1'}));
    EXPECT_FALSE(keys.press(key{'0'}));
    EXPECT_EQ(keys.number(), "10");
    EXPECT_TRUE(std::holds_alternative<command::stop>(keys.press(key{'s'}).value()));
    EXPECT_EQ(keys.number(), "");
    EXPECT_FALSE(keys.press(key::enter));
}
