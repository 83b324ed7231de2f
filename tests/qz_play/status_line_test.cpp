#include "status_line.h"

#include "text.h"

#include <gmock/gmock.h>

#include <clocale>

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

constexpr std::size_t wide = 70;

class status_line_in_ascii : public ::testing::Test
{
protected:
    ~status_line_in_ascii() override { std::setlocale(LC_CTYPE, "C"); }

    [[nodiscard]] std::string line(std::size_t columns = wide) const
    {
        const std::wstring text = status_line(shown, now, columns);
        EXPECT_LE(text::width(text), columns);
        return text::to_locale(text);
    }

    static constexpr snapshot::clock::time_point now{1h};
    snapshot shown = [] {
        snapshot playing;
        playing.state = play_state::playing;
        playing.path = "/music/song.mp3";
        playing.length = 200s;
        playing.position = 50s;
        playing.volume = 80;
        playing.taken = now;
        return playing;
    }();
};

class status_line_in_utf8 : public status_line_in_ascii
{
protected:
    status_line_in_utf8() { EXPECT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

} // namespace

TEST_F(status_line_in_ascii, shows_all_there_is)
{
    EXPECT_EQ(line(), "> song.mp3  [=======---------------------]  0:50 / 3:20  80 %");
    shown.state = play_state::paused;
    shown.muted = true;
    shown.loop = loop_mode::track;
    EXPECT_THAT(line(), HasSubstr("0:50 / 3:20  muted  repeat"));
    EXPECT_EQ(line()[0], '=');
    shown.title = "T\xc3\xa4nze";
    shown.artist = "Ein\xc3\xa9";
    EXPECT_THAT(line(), HasSubstr("= Ein? - T?nze  ["));
    shown.title = std::string(100, 'x');
    EXPECT_THAT(line(), HasSubstr("xx...  ["));
}

TEST_F(status_line_in_ascii, leaves_out_the_bar_first_and_then_the_name)
{
    EXPECT_THAT(line(38), Not(HasSubstr("[")));
    EXPECT_THAT(line(38), HasSubstr("song.mp3"));
    EXPECT_EQ(line(24), "> 0:50 / 3:20  80 %");
    for (std::size_t columns = 0; columns < wide; ++columns) {
        static_cast<void>(line(columns));
    }
    shown.length.reset();
    EXPECT_EQ(line(), "> song.mp3  0:50  80 %");
}

TEST_F(status_line_in_utf8, writes_every_letter_and_a_sign_for_what_moves_the_cursor)
{
    shown.title = "T\xc3\xa4nze \xe9\x9f\xb3";
    EXPECT_THAT(line(), HasSubstr("\xe2\x96\xb6 T\xc3\xa4nze \xe9\x9f\xb3  ["));
    shown.title = "T\xff\ni";
    EXPECT_THAT(line(), HasSubstr(" T??i  ["));
    shown.title = "";
    shown.path = "a\xff\x1b[2Jb.mp3";
    EXPECT_THAT(line(), HasSubstr(" a??[2Jb.mp3  ["));
}

TEST_F(status_line_in_utf8, has_lines_with_all_that_is_known)
{
    shown.title = "T\xc3\xa4nze";
    shown.index = 1;
    shown.track_count = 3;
    EXPECT_THAT(info_lines(shown),
                ::testing::ElementsAre("File:   /music/song.mp3", "Title:  T\xc3\xa4nze",
                                       "Length: 3:20", "Track:  2 of 3"));
}

TEST(format_duration, has_hours_only_where_there_are_some)
{
    EXPECT_EQ(format_duration(0s), L"0:00");
    EXPECT_EQ(format_duration(3599s), L"59:59");
    EXPECT_EQ(format_duration(3600s + 62s), L"1:01:02");
}
