#include "qz_play_test.h"
#include "sound_server.h"

#include <csignal>

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

    /// Returns each text of the live line.
    static std::vector<std::string> live_lines(const std::string& screen)
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
    const result played =
        run({"--volume", "40", "--wav", path("out.wav"), make_track({"tone.mp3", "62"})});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(live_lines(played.errors),
                Contains(AllOf(HasSubstr("> tone.mp3  ["), EndsWith("]  0:00 / 1:02  40 %"))));
}

TEST_F(terminal, tells_the_whole_length_of_a_track_with_changing_bit_rates)
{
    const std::string track =
        make_track({"vbr.mp3",
                    "",
                    "44100",
                    "2",
                    {"synth", "10", "whitenoise", "vol", "0.5", "pad", "10", "0"},
                    {"-t", "-V", "4"}});
    const result played = run({"--wav", path("out.wav"), track});
    EXPECT_THAT(played.errors, HasSubstr("0:00 / 0:20"));
}

TEST_F(terminal, clock_starts_over_with_a_repeated_track)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    program player(qz_play({"--repeat", make_track({"tone.mp3", "1.5"})}), settings);
    const auto shows = [&](const std::string& times) {
        return player.wait_for_error_text(times + "  100 %  repeat");
    };
    EXPECT_TRUE(shows("0:00 / 0:01"));
    EXPECT_TRUE(shows("0:01 / 0:01"));
    const std::size_t first_round = player.errors().size();
    EXPECT_TRUE(player.wait_for_errors([&](const std::string& all) {
        return all.find("0:00 / 0:01", first_round) != std::string::npos;
    }));
    player.send(SIGINT);
    EXPECT_EQ(player.wait_for_exit(), 4);
}

TEST_F(terminal, keeps_every_line_whole)
{
    const std::string track = make_track({});
    const result played = run({"--verbose", "--wav", path("out.wav"), track});
    for (const std::string& line : {std::string("sound output: opened\r\n"), track + ": loaded\r\n",
                                    track + ": playing\r\n", track + ": stopped\r\n"}) {
        EXPECT_THAT(played.errors, HasSubstr(line));
    }
    EXPECT_THAT(played.errors, EndsWith("sound output: closed\r\n"));
}

TEST_F(terminal, live_line_fits_the_window)
{
    settings.columns = 20;
    const result played = run({"--wav", path("out.wav"), make_track({})});
    const std::vector<std::string> lines = live_lines(played.errors);
    ASSERT_THAT(lines, Not(::testing::IsEmpty()));
    EXPECT_THAT(lines, ::testing::Each(::testing::SizeIs(::testing::Lt(20U))));
}

TEST_F(terminal, that_cannot_move_its_cursor_has_no_live_line)
{
    settings.environment["TERM"] = "dumb";
    const result played = run({"--wav", path("out.wav"), make_track({})});
    EXPECT_THAT(played.errors, HasSubstr(": playing\r\n"));
    EXPECT_THAT(played.errors, Not(HasSubstr("\x1b")));
}

TEST_F(terminal, elsewhere_has_no_live_line)
{
    settings.terminal = false;
    const result played = run({"--wav", path("out.wav"), make_track({})});
    EXPECT_THAT(played.errors, HasSubstr(": playing\n"));
    EXPECT_THAT(played.errors, Not(HasSubstr("\r")));
}

TEST_F(terminal, that_is_quiet_shows_errors_alone)
{
    const result played =
        run({"--quiet", "--wav", path("out.wav"), make_track({}), path("missing.mp3")});
    EXPECT_EQ(played.errors,
              "qz_play: " + path("missing.mp3") + ": there is no such file; check its name.\r\n");
}

TEST_F(terminal, has_colours_unless_they_are_not_wanted)
{
    const std::string track = make_track({});
    const std::string green = "\x1b[32m>";
    EXPECT_THAT(run({"--wav", path("out.wav"), track}).errors, Not(HasSubstr(green)));
    settings.environment["NO_COLOR"] = std::nullopt;
    EXPECT_THAT(run({"--wav", path("out.wav"), track}).errors, HasSubstr(green));
}
