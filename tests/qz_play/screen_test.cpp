#include "event.h"
#include "qz_play_test.h"
#include "tmux_screen.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;

namespace
{

class screen : public qz_play_test
{
protected:
    screen()
    {
        start_server();
        settings.environment["LC_ALL"] = "C.UTF-8";
        settings.environment.erase("TERM");
        make_track({"first.mp3", "60"});
        fs::create_hard_link(path("first.mp3"), path("second.mp3"));
    }

    /// Starts the program with these arguments, after the words `before` of the shell.
    void play(const std::string& arguments, const std::string& before = "")
    {
        window_.emplace(path(""), settings);
        window_->enter("cd " + path("") + "; clear; " + before + " " + qz_play({})[0] + " " +
                       arguments + "; echo status $?");
    }

    /// Starts the program and waits until it shows that it plays.
    void play_first(const std::string& arguments = "first.mp3 second.mp3")
    {
        play(arguments);
        ASSERT_TRUE(window_->shows("▶ first.mp3")) << window_->text();
    }

    /// Does so, and returns its id.
    pid_t play_first_as_job()
    {
        play_first("first.mp3 & echo $! > id; fg");
        return std::stoi(read_file(path("id")));
    }

    /// Starts the program with the events in the file "log" in place of the status line.
    void play_logged(const std::string& arguments) { play(arguments + " 2> log"); }

    /// Waits until there are so many of these lines in the log.
    [[nodiscard]] bool logs(const std::string& line, std::size_t times) const
    {
        return wait_until([&] {
            return fs::exists(path("log")) && count(read_file(path("log")), line) >= times;
        });
    }

    /// Pauses and plays on, each time when the former has been reported.
    void pause_again_and_again(const std::string& track, std::size_t times) const
    {
        for (std::size_t time = 1; time <= times; ++time) {
            ASSERT_TRUE(logs(track + ": playing\n", time)) << read_file(path("log"));
            window_->type(" ");
            ASSERT_TRUE(logs(track + ": paused\n", time)) << read_file(path("log"));
            window_->type(" ");
        }
    }

    /// Ends the program, which has logged no error.
    void quit_without_errors() const
    {
        EXPECT_THAT(read_file(path("log")), Not(HasSubstr("qz_play:")));
        quit();
    }

#ifdef QZ_PACED_SINK_FOLDER
    /// Plays on a device of ALSA at the real rate, which discards its buffer at each pause. The file
    /// "written" gets the sound, and "played" the number of frames that were heard until a pause.
    void use_bare_device()
    {
        write_file(path("asound.conf"),
                   "pcm.!default { type file slave.pcm { type paced played \"" + path("played") +
                       "\" } file \"" + path("written") +
                       "\" format \"raw\" }\nctl.!default { type null }\n");
        settings.environment["XDG_RUNTIME_DIR"] = path("home");
        settings.environment["ALSA_CONFIG_PATH"] = path("asound.conf");
        settings.environment["ALSA_PLUGIN_DIR"] = QZ_PACED_SINK_FOLDER;
    }
#endif

    [[nodiscard]] program record() const
    {
        return {sound_server::recorder(), server->client_settings()};
    }

    /// Waits until what is recorded stays between these loudnesses for a while.
    static bool heard(program& recorder, double least, double most)
    {
        return recorder.wait_for_output([least, most](const std::string& all) {
            constexpr std::size_t tenth_of_a_second = 4410;
            const std::vector<double> levels = loudness(all, tenth_of_a_second);
            const auto fits = [=](double level) { return least <= level && level <= most; };
            return levels.size() > 3 && std::all_of(levels.end() - 3, levels.end() - 1, fits);
        });
    }

    /// Types the keys and waits until the screen shows the text.
    void expect_shown(const std::string& keys, const std::string& text) const
    {
        window_->type(keys);
        EXPECT_TRUE(window_->shows(text)) << "after " << keys << ":\n" << window_->text();
    }

    /// Stops the program by Ctrl-Z or a signal to `job`.
    void expect_stop(pid_t job = 0) const
    {
        job == 0 ? window_->press("C-z") : static_cast<void>(kill(job, SIGSTOP));
        ASSERT_TRUE(window_->shows("Stopped"));
    }

    /// Brings the program back into the foreground.
    void come_back(const std::string& shown) const
    {
        window_->enter("clear; fg; echo status $?");
        EXPECT_TRUE(window_->shows(shown)) << window_->text();
    }

    void expect_end(int status) const
    {
        EXPECT_TRUE(window_->shows("status " + std::to_string(status) + "\n"));
        expect_usual_terminal();
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }

    void quit() const
    {
        window_->type("q");
        expect_end(0);
    }

    void expect_usual_terminal() const
    {
        window_->enter("clear; stty -a | grep icanon");
        EXPECT_TRUE(window_->shows("isig icanon iexten echo echoe"));
        EXPECT_TRUE(window_->sends_usual_keys());
    }

    std::optional<tmux_screen> window_;
};

/// How the program ends; with `--verbose` after a pause.
struct ending {
    std::string name;
    bool pauses;
    std::string server; ///< What it does before the keys: "", "halts" or "dies".
    std::vector<std::string> keys;
    std::string shown;
    int status;
};

class ended_screen : public screen, public ::testing::WithParamInterface<ending>
{
};

} // namespace

TEST_F(screen, pauses_stops_and_starts_over)
{
    play_first();
    expect_shown(" ", "‖ first.mp3");
    expect_shown("p", "▶ first.mp3  [");
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    expect_shown("s", "■ first.mp3  [---");
    expect_shown(" ", "▶ first.mp3  [");
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    expect_shown("f", "■ first.mp3  [---");
    quit();
}

TEST_F(screen, sound_is_as_loud_after_a_pause_as_before)
{
    program recorder = record();
    play("--volume 40 first.mp3");
    EXPECT_TRUE(heard(recorder, 6'200, 6'800));
    window_->type(" ");
    EXPECT_TRUE(heard(recorder, 0, 0));
    window_->type(" ");
    EXPECT_TRUE(heard(recorder, 6'200, 6'800));
    quit();
}

TEST_F(screen, shows_a_track_that_fades_out_as_playing_for_seconds_at_most)
{
    play_first("--fade-out 3600 first.mp3 second.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    expect_shown("rfi", "Length: 1:00");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    EXPECT_TRUE(window_->shows("■ first.mp3  [---"));
    quit();
}

TEST_F(screen, acts_on_keys_where_a_track_never_comes)
{
    write_file(path("list.m3u"), fs::path(make_pipe("pipe")).filename().string() + "\nfirst.mp3\n");
    play("list.m3u");
    ASSERT_TRUE(window_->shows("■ pipe"));
    expect_shown("n", "▶ first.mp3");
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    expect_shown("b", "▶ pipe");
    quit();
}

TEST_F(screen, goes_from_track_to_track_and_shows_why_not)
{
    play_first();
    expect_shown("b", "first track");
    EXPECT_TRUE(window_->loses("first track"));
    window_->press("Left");
    EXPECT_TRUE(window_->shows("the library cannot seek"));
    expect_shown("n", "▶ second.mp3");
    expect_shown("n", "last track");
    EXPECT_TRUE(window_->loses("last track"));
    expect_shown("<", "▶ first.mp3");
    expect_shown(">b>", "▶ second.mp3");
    expect_shown(" ", "‖ second.mp3");
    expect_shown("b", "‖ first.mp3");
    expect_shown(" ", "▶ first.mp3  [");
    quit();
}

TEST_F(screen, shows_the_list_and_jumps_in_it)
{
    play_first("first.mp3 second.mp3 first.mp3");
    expect_shown("l", "> 1  first.mp3\n  2  second.mp3\n  3  first.mp3\n");
    window_->type("2");
    window_->press("Enter");
    EXPECT_TRUE(window_->shows("▶ second.mp3"));
    expect_shown("l", "  1  first.mp3\n> 2  second.mp3\n");
    expect_shown("7", "7\n");
    window_->press("Enter");
    EXPECT_TRUE(window_->shows("no track 7"));
    EXPECT_TRUE(window_->shows("▶ second.mp3"));
    quit();
}

TEST_F(screen, pauses_in_a_clip_that_is_as_short_as_its_last_block)
{
    make_track({"clip.mp3", "0.047"});
    play_logged("--repeat clip.mp3");
    pause_again_and_again("clip.mp3", 5);
    EXPECT_TRUE(logs("clip.mp3: playing\n", 6));
    std::this_thread::sleep_for(std::chrono::seconds(20)); // For anything that counts as a hang.
    quit_without_errors();
}

#ifdef QZ_PACED_SINK_FOLDER
TEST_F(screen, pauses_on_a_bare_device_are_no_haste)
{
    use_bare_device();
    make_track({"short.mp3", "12"});
    play_logged("short.mp3 short.mp3");
    constexpr std::size_t times = 15; // Each discards 0.2 s and more.
    pause_again_and_again("short.mp3", times);
    EXPECT_TRUE(logs("short.mp3: playing\n", times + 2));
    quit_without_errors();
}

TEST_F(screen, sound_falls_silent_softly_before_a_pause_on_a_bare_device)
{
    use_bare_device();
    play_logged("first.mp3");
    const std::size_t frame = 4;
    ASSERT_TRUE(wait_until([&] {
        return fs::exists(path("written")) && fs::file_size(path("written")) > frame * 44100;
    }));
    window_->type(" ");
    ASSERT_TRUE(logs("first.mp3: paused\n", 1));
    const std::size_t played = std::stoul(read_file(path("played")));
    const auto levels = loudness(read_file(path("written")).substr(0, played * frame), 882);
    EXPECT_GT(levels.at(levels.size() / 2), 10'000);
    EXPECT_EQ(levels.back(), 0);
    quit_without_errors();
}
#endif

TEST_F(screen, reads_keys_also_where_a_list_comes_by_standard_input)
{
    play("-", "printf 'first.mp3\\nsecond.mp3\\n' |");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    expect_shown(" ", "‖ first.mp3");
    expect_shown("n", "‖ second.mp3");
    quit();
}

TEST_F(screen, shows_a_list_that_is_shuffled_and_repeated)
{
    play("--shuffle --loop --start 2 first.mp3 second.mp3");
    ASSERT_TRUE(window_->shows("▶ second.mp3"));
    EXPECT_TRUE(window_->shows("shuffled  repeat all"));
    expect_shown("n", "▶ first.mp3");
    expect_shown("n", "▶ second.mp3");
    expect_shown("b", "▶ first.mp3");
    quit();
}

TEST_F(screen, takes_keys_as_fast_as_they_come)
{
    play_first();
    for (int times = 0; times < 10; ++times) {
        window_->type("  nbs pmmrnb<>s +-+- fp");
        window_->press("C-s");
    }
    window_->type("rsm");
    window_->resize(5);
    window_->resize(80);
    EXPECT_TRUE(window_->shows("  muted  repeat all"));
    quit();
}

TEST_F(screen, survives_a_list_of_what_cannot_be_played)
{
    make_track({"good.mp3"});
    fs::create_directory(path("music"));
    for (int number = 100; number < 400; ++number) {
        write_file(path("music/" + std::to_string(number) + ".mp3"), "no music");
    }
    write_file(path("round.m3u"), "music\nround.m3u\n");
    play("music round.m3u good.mp3");
    EXPECT_TRUE(window_->shows("399.mp3: not MPEG audio\n"));
    EXPECT_TRUE(window_->shows("round.m3u: playlist inside a playlist\n"));
    expect_end(3);
}

TEST_F(screen, changes_volume_and_repeat_and_shows_keys_and_track)
{
    play_first("--verbose first.mp3");
    ASSERT_TRUE(window_->shows("100 %"));
    expect_shown("--9", "85 %");
    expect_shown("0", "90 %");
    window_->press("Down");
    EXPECT_TRUE(window_->shows("85 %"));
    expect_shown("m", "muted");
    expect_shown("m", "85 %");
    expect_shown("+++++++", "100 %");
    expect_shown("r", "100 %  repeat");
    expect_shown("r", "repeat all");
    window_->type("r");
    EXPECT_TRUE(window_->loses("repeat"));
    expect_shown("h", "Space p     pause, resume");
    expect_shown("i", "File:   first.mp3");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->press("C-c");
    expect_end(4);
}

TEST_F(screen, neither_pauses_nor_repeats_sound_into_a_file)
{
    const program source = make_endless_track("endless");
    play("--volume 40 --wav out.wav endless");
    ASSERT_TRUE(window_->shows("40 %"));
    expect_shown("r", "a WAV export cannot be repeated");
    expect_shown(" ", "a WAV export cannot be paused");
    expect_shown("+", "▶ endless");
    EXPECT_TRUE(window_->shows("45 %\n"));
    quit();
}

TEST_F(screen, stops_by_control_z_and_comes_back)
{
    play_first("first.mp3");
    expect_stop();
    expect_usual_terminal();
    come_back("▶ first.mp3");
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    expect_shown(" ", "‖ first.mp3");
    expect_stop();
    come_back("‖ first.mp3");
    quit();
}

TEST_F(screen, stops_by_control_z_also_while_a_track_fades_out)
{
    play_first("--verbose --fade-out 10 first.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("f");
    expect_stop();
    EXPECT_TRUE(window_->shows("first.mp3: paused"));
    come_back("■ first.mp3  [---");
    quit();
}

TEST_F(screen, comes_back_after_a_stop_from_outside)
{
    expect_stop(play_first_as_job());
    come_back("▶ first.mp3");
    quit();
}

TEST_F(screen, in_the_background_leaves_the_terminal_alone)
{
    program recorder = record();
    play("first.mp3 & :");
    EXPECT_TRUE(window_->shows("status 0"));
    EXPECT_TRUE(heard(recorder, 1, 20'000));
    EXPECT_THAT(window_->text(), Not(HasSubstr("▶")));
    expect_usual_terminal();
    come_back("▶ first.mp3");
    quit();
}

TEST_F(screen, follows_the_size_of_its_window)
{
    play_first("first.mp3");
    expect_shown(" ", "‖ first.mp3  [");
    window_->resize(40);
    EXPECT_TRUE(window_->loses("["));
    window_->resize(100);
    EXPECT_TRUE(window_->shows("‖ first.mp3  ["));
    quit();
}

TEST_F(screen, that_is_dumb_gets_plain_lines)
{
    play("first.mp3", "TERM=dumb");
    EXPECT_TRUE(window_->shows("first.mp3: playing"));
    expect_shown(" ", "first.mp3: paused");
    quit();
}

TEST_F(screen, that_is_closed_ends_the_program)
{
    play_first();
    ASSERT_EQ(temporary_folders().size(), 1U);
    window_->close();
    EXPECT_TRUE(wait_until([&] { return temporary_folders().empty(); }));
}

TEST_P(ended_screen, gets_its_mode_back)
{
    const ending& end = GetParam();
    play_first(end.pauses ? "--verbose first.mp3" : "first.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    if (end.pauses) {
        expect_shown(" ", "first.mp3: paused");
    }
    if (end.server == "halts") {
        server->halt();
    } else if (end.server == "dies") {
        server.reset();
    }
    for (const std::string& key : end.keys) {
        window_->press(key);
    }
    EXPECT_TRUE(window_->shows(end.shown));
    if (end.status == 4) {
        EXPECT_THAT(window_->text(), Not(HasSubstr("first.mp3")));
    }
    expect_end(end.status);
    if (server) {
        server->go_on();
    }
}

INSTANTIATE_TEST_SUITE_P(
    each, ended_screen,
    ::testing::Values(
        ending{"after_two_interrupts", false, "halts", {"C-c", "C-c"}, "status 4\n", 4},
        ending{"after_a_quit_signal", false, "", {"C-\\"}, "status 4\n", 4},
        ending{"after_a_hang_at_a_pause", true, "halts", {"Space"}, "does not respond", 3},
        ending{"after_a_hang_at_the_end", true, "halts", {"q"}, "■ first.mp3", 0},
        ending{"after_the_servers_death", false, "dies", {}, "faster than real time", 3}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(screen, gets_its_mode_back_after_a_crash)
{
    kill(play_first_as_job(), SIGSEGV);
    EXPECT_TRUE(window_->shows("status " + std::to_string(128 + SIGSEGV)));
    expect_usual_terminal();
}
