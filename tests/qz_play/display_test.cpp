#include "display.h"

#include "pseudo_terminal.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>

#include <poll.h>
#include <sys/mman.h>

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace
{

const std::string erase = "\r\x1b[K";

class display_on : public ::testing::Test
{
protected:
    display_on()
    {
        setenv("TERM", "xterm", 1);
        setenv("NO_COLOR", "1", 1);
        std::signal(SIGPIPE, SIG_IGN);
    }

    /// Makes a display that has `descriptor` as its standard error.
    std::unique_ptr<display> make(int descriptor)
    {
        const int real = dup(STDERR_FILENO);
        dup2(descriptor, STDERR_FILENO);
        auto made = std::make_unique<display>(loop, verbosity::normal);
        dup2(real, STDERR_FILENO);
        close(real);
        return made;
    }

    event_loop loop;
};

class display_on_terminal : public display_on
{
protected:
    bool shows(const std::string& text)
    {
        return run_until(loop, [&] {
            all += window.shown();
            return all.find(text) != std::string::npos;
        });
    }

    void show_track(int volume = 0) const
    {
        snapshot shown;
        shown.state = play_state::playing;
        shown.path = "/music/song.mp3";
        shown.volume = volume;
        screen->show_status(shown);
    }

    /// Returns how many lines it takes until the terminal accepts no more.
    int fill()
    {
        int count = 0;
        pollfd output{window.descriptor(), POLLOUT, 0};
        while (poll(&output, 1, 0) > 0) {
            screen->print_line("line " + std::to_string(count++));
        }
        return count;
    }

    pseudo_terminal window;
    std::unique_ptr<display> screen = make(window.descriptor());
    std::string all;
};

class display_on_pipe : public display_on
{
protected:
    display_on_pipe()
    {
        EXPECT_EQ(pipe(ends.data()), 0);
        screen = make(ends[1]);
        close(ends[1]);
    }
    ~display_on_pipe() override { close(ends[0]); }

    void print_lines(int first, int last) const
    {
        for (int number = first; number <= last; ++number) {
            screen->print_line("line " + std::to_string(number));
        }
    }

    /// More than 64 KiB in the pipe and 64 KiB in memory.
    void flood() const { print_lines(10'000, 29'999); }

    std::array<int, 2> ends{};
    std::unique_ptr<display> screen;
};

} // namespace

TEST_F(display_on_terminal, has_lines_above_a_status_line_that_is_drawn_if_it_changes)
{
    show_track();
    EXPECT_TRUE(shows(erase + "> song.mp3  0:00  0 %"));
    show_track();
    screen->print_event("song.mp3: playing"); // which the status line shows
    EXPECT_THAT(window.shown(), IsEmpty());
    screen->print_error("song.mp3: file is empty\x1b[2J\tb");
    EXPECT_TRUE(shows("0 %" + erase + "qz_play: song.mp3: file is empty?[2J?b\r\n"));
    show_track();
    EXPECT_TRUE(shows("\n" + erase + "> song.mp3  0:00  0 %"));
    screen.reset();
    EXPECT_EQ(window.shown(), erase);
}

TEST_F(display_on_terminal, shows_a_notice_in_place_of_the_status_for_a_while)
{
    show_track();
    ASSERT_TRUE(shows("song.mp3"));
    screen->show_notice("last track");
    EXPECT_TRUE(shows(erase + "last track"));
    all.clear();
    show_track();
    EXPECT_THAT(window.shown(), IsEmpty());
    EXPECT_TRUE(shows(erase + "> song.mp3"));
    screen->show_notice("12");
    EXPECT_TRUE(shows("12"));
    screen->show_notice("");
    EXPECT_EQ(window.shown(), erase + "> song.mp3  0:00  0 %");
    screen->try_erase_status_line();
    EXPECT_EQ(window.shown(), erase);
}

TEST_F(display_on_terminal, does_not_wait_where_nothing_is_accepted)
{
    const int count = fill();
    screen->print_line("last line");
    for (int volume = 0; volume <= 100; ++volume) {
        show_track(volume);
    }
    EXPECT_TRUE(shows("line " + std::to_string(count - 1) + "\r\nlast line\r\n"));
    EXPECT_TRUE(shows("100 %"));
    EXPECT_THAT(all, Not(HasSubstr("99 %")));
    EXPECT_THAT(all, StartsWith("line 0\r\nline 1\r\n"));
    fill();
    screen->print_line("lost line");
    screen.reset(); // waits, but not for long
    EXPECT_THAT(window.shown(), Not(HasSubstr("lost line")));
}

TEST_F(display_on_pipe, drops_whole_lines_where_too_many_are_pending)
{
    screen->show_notice("last track");
    EXPECT_EQ(read_available(ends[0]), "last track\n");
    flood();
    std::string all;
    run_until(loop, [&] {
        const std::string added = read_available(ends[0]);
        all += added;
        return added.empty();
    });
    EXPECT_THAT(all, SizeIs(::testing::Gt(65'536U)));
    EXPECT_THAT(all, SizeIs(::testing::Lt(2 * 65'536U + 20)));
    const std::size_t lines = all.size() / std::string("line 10000\n").size();
    EXPECT_THAT(all, EndsWith("line " + std::to_string(10'000 + lines - 1) + "\n"));
    screen->print_event("later\xff");
    EXPECT_EQ(read_available(ends[0]), "later\xff\n");
}

TEST_F(display_on_pipe, writes_what_is_pending_in_the_end)
{
    fcntl(ends[0], F_SETPIPE_SZ, 4096);
    print_lines(0, 999);
    std::string all;
    std::thread reader([&] {
        std::array<char, 100> bytes{};
        for (ssize_t count = 0; (count = read(ends[0], bytes.data(), bytes.size())) > 0;) {
            all.append(bytes.data(), static_cast<std::size_t>(count));
        }
    });
    screen.reset();
    reader.join();
    EXPECT_THAT(all, EndsWith("line 999\n"));
}

TEST_F(display_on_pipe, does_not_wait_for_a_reader_that_is_gone)
{
    flood();
    close(std::exchange(ends[0], -1));
    EXPECT_TRUE(run_until(loop, [&] { return sd_event_run(loop.handle(), 50'000) == 0; }));
    flood();
}

TEST_F(display_on, file_gets_every_line)
{
    const int file = memfd_create("messages", 0);
    const auto screen = make(file);
    screen->print_line("one");
    screen->print_line("two");
    lseek(file, 0, SEEK_SET);
    EXPECT_EQ(read_available(file), "one\ntwo\n");
    close(file);
}
