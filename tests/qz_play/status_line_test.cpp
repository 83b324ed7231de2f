#include "terminal/status_line.h"

#include "terminal/text.h"

#include <gmock/gmock.h>

#include <clocale>

using namespace std::chrono_literals;
using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

constexpr std::size_t wide = 70;

class status_line_in : public ::testing::Test
{
protected:
    ~status_line_in() override { std::setlocale(LC_CTYPE, "C"); }

    static void use_utf8() { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }

    [[nodiscard]] std::string line(std::size_t columns = wide) const
    {
        const std::wstring text = status_line(told, now, columns);
        EXPECT_LE(text::width(text), columns);
        return text::to_locale(text);
    }

    static constexpr snapshot::clock::time_point now{1h};
    snapshot told = [] {
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

using status_line_in_ascii = status_line_in;
using status_line_in_utf8 = status_line_in;

} // namespace

TEST_F(status_line_in_ascii, shows_all_there_is)
{
    EXPECT_EQ(line(), "> song.mp3  [=======---------------------]  0:50 / 3:20  80 %");
    told.state = play_state::paused;
    told.muted = true;
    told.loop = loop_mode::track;
    EXPECT_THAT(line(), HasSubstr("0:50 / 3:20  muted  repeat"));
    EXPECT_EQ(line()[0], '=');
}

TEST_F(status_line_in_ascii, gives_up_the_bar_first_and_then_the_name)
{
    EXPECT_THAT(line(38), Not(HasSubstr("[")));
    EXPECT_THAT(line(38), HasSubstr("song.mp3"));
    EXPECT_EQ(line(24), "> 0:50 / 3:20  80 %");
    for (std::size_t columns = 0; columns < wide; ++columns) {
        static_cast<void>(line(columns));
    }
}

TEST_F(status_line_in_ascii, cuts_a_long_name)
{
    told.path = std::string(100, 'x');
    EXPECT_THAT(line(), HasSubstr("xx...  ["));
}

TEST_F(status_line_in_ascii, cannot_write_every_letter)
{
    told.title = "T\xc3\xa4nze";
    told.artist = "Ein\xc3\xa9";
    EXPECT_THAT(line(), HasSubstr("> Ein? - T?nze  ["));
}

TEST_F(status_line_in_ascii, without_a_length_has_no_bar)
{
    told.length.reset();
    EXPECT_EQ(line(), "> song.mp3  0:50  80 %");
}

TEST_F(status_line_in_utf8, writes_every_letter)
{
    use_utf8();
    told.title = "T\xc3\xa4nze \xe9\x9f\xb3";
    EXPECT_THAT(line(), HasSubstr("\xe2\x96\xb6 T\xc3\xa4nze \xe9\x9f\xb3  ["));
}

TEST_F(status_line_in_utf8, shows_a_sign_for_what_is_broken_or_moves_the_cursor)
{
    use_utf8();
    told.path = "a\xff\x1b[2Jb.mp3";
    EXPECT_THAT(line(), HasSubstr(" a??[2Jb.mp3  ["));
    told.title = "T\xff\ni";
    EXPECT_THAT(line(), HasSubstr(" T??i  ["));
}

TEST_F(status_line_in_utf8, counts_wide_letters)
{
    use_utf8();
    for (int count = 0; count < 40; ++count) {
        told.title += "\xe9\x9f\xb3";
        static_cast<void>(line());
    }
    EXPECT_THAT(line(), HasSubstr("\xe2\x80\xa6  ["));
}

TEST(clock_text, has_hours_only_where_there_are_some)
{
    EXPECT_EQ(clock_text(0s), L"0:00");
    EXPECT_EQ(clock_text(3599s), L"59:59");
    EXPECT_EQ(clock_text(3600s + 62s), L"1:01:02");
}
