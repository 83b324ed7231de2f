#include "qz_play_test.h"

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

constexpr auto erase_line = "\r\x1b[K";

class terminal : public qz_play_test
{
protected:
    terminal()
    {
        settings.terminal = true;
        settings.environment["NO_COLOR"] = "1";
        settings.environment["LC_ALL"] = "C";
    }

    /// Returns each text of the status line.
    static std::vector<std::string> status_lines(const std::string& screen)
    {
        std::vector<std::string> lines;
        std::size_t at = screen.find(erase_line);
        while (at != std::string::npos) {
            const std::size_t start = at + std::string(erase_line).size();
            at = screen.find(erase_line, start);
            const std::string text = screen.substr(start, at - start);
            if (text.find('\n') == std::string::npos && !text.empty()) {
                lines.push_back(text);
            }
        }
        return lines;
    }
};

} // namespace

TEST_F(terminal, has_a_live_line_with_state_name_times_and_volume)
{
    const std::string track = make_track({"tone.mp3", "62"});
    const result played = run_to_wav({"--volume", "40", track});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(status_lines(played.errors),
                Contains(AllOf(HasSubstr("> tone.mp3  ["), EndsWith("]  0:00 / 1:02  40 %"))));
    settings.columns = 20;
    const std::vector<std::string> lines = status_lines(run_to_wav({track}).errors);
    ASSERT_THAT(lines, Not(::testing::IsEmpty()));
    EXPECT_THAT(lines, ::testing::Each(::testing::SizeIs(::testing::Lt(20U))));
    const std::string green = "\x1b[32m>";
    EXPECT_THAT(played.errors, Not(HasSubstr(green)));
    settings.environment["NO_COLOR"] = std::nullopt;
    EXPECT_THAT(run_to_wav({track}).errors, HasSubstr(green));
}

TEST_F(terminal, shows_the_whole_length_of_a_track_with_changing_bit_rates)
{
    EXPECT_THAT(run_to_wav({make_variable_track()}).errors, HasSubstr("0:00 / 0:20"));
}

TEST_F(terminal, has_plain_lines_where_more_is_not_wanted_or_possible)
{
    const std::string track = make_track({});
    const std::string all = "sound output: opened\r\n" + track + ": loaded\r\n" + track +
                            ": playing\r\n" + track + ": stopped\r\nsound output: closed\r\n";
    const std::string verbose = run_to_wav({"--verbose", track}).errors;
    for (std::size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        EXPECT_THAT(verbose, HasSubstr(all.substr(at, all.find('\n', at) - at + 1)));
    }
    EXPECT_EQ(run_to_wav({"--quiet", track, path("missing.mp3")}).errors,
              "qz_play: " + path("missing.mp3") + ": no such file\r\n");
    settings.environment["TERM"] = "dumb";
    EXPECT_EQ(run_to_wav({track}).errors, all);
}
