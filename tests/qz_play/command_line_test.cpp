#include "qz_play_test.h"

#include <initializer_list>
#include <set>

using ::testing::ContainerEq;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace
{

/// Returns the words of these characters that follow one of the marks.
std::set<std::string> words_after(std::initializer_list<std::string> marks,
                                  const std::string& characters, const std::string& text)
{
    std::set<std::string> words;
    for (const std::string& mark : marks) {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
            const auto begin = at + mark.size();
            words.insert(text.substr(begin, text.find_first_not_of(characters, begin) - begin));
        }
    }
    words.erase("");
    return words;
}

using command_line = qz_play_test;

struct wrong_usage {
    std::vector<std::string> arguments;
    std::string message = "--help";
};

} // namespace

TEST_F(command_line, help_and_manual_name_the_same_options_and_exit_statuses)
{
    const result help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.errors, IsEmpty());
    const std::string manual = read_file(QZ_PLAY_MANUAL);
    constexpr const char* letters = "abcdefghijklmnopqrstuvwxyz-";
    const std::set<std::string> options = words_after({"--"}, letters, help.output);
    EXPECT_THAT(options, Contains("volume"));
    EXPECT_THAT(words_after({".It Fl -", " , -"}, letters, manual), ContainerEq(options));
    constexpr const char* digits = "0123456789";
    const std::set<std::string> statuses = words_after({"\n  "}, digits, help.output);
    EXPECT_THAT(statuses, Contains("4"));
    EXPECT_THAT(words_after({".It "}, digits, manual), ContainerEq(statuses));
}

TEST_F(command_line, version_is_the_projects)
{
    const result version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output, "qz_play " QZ_PLAY_VERSION "\n");
    EXPECT_THAT(version.errors, IsEmpty());
}

TEST_F(command_line, binary_data_is_no_list_of_tracks)
{
    const std::string command = R"(exec "$1" --wav "$2" - < "$3")";
    program player({"sh", "-c", command, "sh", qz_play({})[0], path("out.wav"), make_track({})},
                   settings);
    EXPECT_EQ(player.wait_for_exit(), 1);
    EXPECT_EQ(player.errors(), "qz_play: standard input is binary data, not a list of tracks; "
                               "pass the name of a file\n");
}

TEST_F(command_line, names_that_give_no_track_count_as_tracks_that_fail)
{
    const std::string command = R"(exec "$1" --wav "$2" "$3" - < "$3")";
    program player({"sh", "-c", command, "sh", qz_play({})[0], path("out.wav"), make_track({})},
                   settings);
    EXPECT_EQ(player.wait_for_exit(), 3);
}

TEST_F(command_line, wrong_usage_ends_with_1_and_the_reason_on_standard_error)
{
    for (const wrong_usage& wrong :
         {wrong_usage{{}, "TRACK is required\n"},
          {{"--repeat"}, "TRACK is required\n"},
          {{"--wav", "-", "a"},
           "--wav: needs the name of a file; the sound cannot go to standard output\n"},
          {{"--no-such-option", "a"}},
          {{"--volume", "101", "a"}},
          {{"--volume", "-1", "a"}},
          {{"--volume", "loud", "a"}},
          {{"--fade-in", "-1", "a"}},
          {{"--fade-in", "nan", "a"}},
          {{"--fade-out", "inf", "a"}},
          {{"--fade-out", "soon", "a"}},
          {{"--bin-path", "/none", "a"}},
          {{"--wav", "f", "--repeat", "a"}},
          {{"--wav", "f", "--loop", "a"}},
          {{"--wav", "f", "--fade-in", "1", "a"}},
          {{"--wav", "f", "--fade-out", "1", "a"}},
          {{"a", "--wav"}}}) {
        const result refused = run(wrong.arguments);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.output, IsEmpty());
        EXPECT_THAT(refused.errors, HasSubstr(wrong.message));
        EXPECT_THAT(refused.errors, HasSubstr("--help"));
    }
}
