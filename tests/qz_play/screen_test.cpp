#include "event.h"
#include "qz_play_test.h"
#include "sound_server.h"
#include "tmux_screen.h"

#include <algorithm>
#include <csignal>

#include <sys/stat.h>

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
        settings.environment["XDG_RUNTIME_DIR"] = server_->runtime_folder();
        settings.environment["LC_ALL"] = "C.UTF-8";
        settings.environment.erase("TERM");
        make_track({"first.mp3", "60"});
        make_track({"second.mp3", "60"});
        window_.emplace(path(""), settings);
        window_->enter("cd " + path(""));
    }

    /// Starts the program with what stands before and behind its name on the command line.
    void play(const std::string& arguments = "first.mp3 second.mp3",
              const std::string& before = "") const
    {
        window_->enter("clear; " + before + " " + qz_play({})[0] + " " + arguments +
                       "; echo status $?");
    }

    [[nodiscard]] program record() const
    {
        return {sound_server::recorder(), server_->client_settings()};
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

    /// Brings the program back into the foreground.
    void come_back() const { window_->enter("clear; fg; echo status $?"); }

    void expect_end(int status) const
    {
        EXPECT_TRUE(window_->shows("status " + std::to_string(status) + "\n"));
        expect_usual_terminal();
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }

    void expect_usual_terminal() const
    {
        window_->enter("clear; stty -a | grep icanon");
        EXPECT_TRUE(window_->shows("isig icanon iexten echo echoe"));
        EXPECT_TRUE(window_->sends_usual_keys());
    }

    std::optional<sound_server> server_{std::in_place, path("")};
    std::optional<tmux_screen> window_;
};

} // namespace

TEST_F(screen, pauses_and_goes_on)
{
    play();
    ASSERT_TRUE(window_->shows("▶ first.mp3  ["));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("‖ first.mp3"));
    window_->type("p");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, sound_is_as_loud_after_a_pause_as_before)
{
    program recorder = record();
    const auto hears = [&recorder](double least, double most) {
        return heard(recorder, least, most);
    };
    play("--volume 40 first.mp3");
    EXPECT_TRUE(hears(6'200, 6'800));
    window_->type(" ");
    EXPECT_TRUE(hears(0, 0));
    window_->type(" ");
    EXPECT_TRUE(hears(6'200, 6'800));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, stops_and_starts_over)
{
    play();
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("s");
    EXPECT_TRUE(window_->shows("■ first.mp3  0:00"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("▶ first.mp3  ["));
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("f");
    EXPECT_TRUE(window_->shows("■ first.mp3  0:00"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, shows_a_track_that_fades_out_as_playing)
{
    play("--fade-out 10 first.mp3 second.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("fi");
    EXPECT_TRUE(window_->shows("Length: 1:00"));
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    EXPECT_TRUE(window_->shows("■ first.mp3  0:00"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, fades_out_within_seconds_when_asked_to)
{
    play("--fade-out 3600 first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("rf");
    EXPECT_TRUE(window_->shows("■ first.mp3  0:00"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, is_left_by_a_second_key_where_a_track_never_comes)
{
    mkfifo(path("pipe").c_str(), 0600);
    play("--verbose pipe");
    ASSERT_TRUE(window_->shows("sound output: opened"));
    window_->type("qq");
    expect_end(0);
}

TEST_F(screen, goes_from_track_to_track)
{
    play();
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("n");
    EXPECT_TRUE(window_->shows("▶ second.mp3"));
    window_->type("<");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->type(">b>");
    EXPECT_TRUE(window_->shows("▶ second.mp3"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("‖ second.mp3"));
    window_->type("b");
    EXPECT_TRUE(window_->shows("‖ first.mp3"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("▶ first.mp3  ["));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, gives_keys_also_where_a_list_comes_by_standard_input)
{
    play("-", "printf 'first.mp3\\nsecond.mp3\\n' |");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("‖ first.mp3"));
    window_->type("n");
    EXPECT_TRUE(window_->shows("‖ second.mp3"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, shows_a_list_that_is_shuffled_and_repeated)
{
    play("--shuffle --loop --start 2 first.mp3 second.mp3");
    ASSERT_TRUE(window_->shows("▶ second.mp3"));
    EXPECT_TRUE(window_->shows("shuffled  repeat all"));
    window_->type("n");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("n");
    EXPECT_TRUE(window_->shows("▶ second.mp3"));
    window_->type("b");
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, takes_keys_as_fast_as_they_come)
{
    play();
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    for (int times = 0; times < 10; ++times) {
        window_->type("  nbs pmmrnb<>s +-+- fp");
        window_->press("C-s");
    }
    window_->type("rsm");
    window_->resize(5);
    window_->resize(80);
    EXPECT_TRUE(window_->shows(".mp3  0:00  muted  repeat all"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, survives_a_list_of_what_cannot_be_played)
{
    make_track({"good.mp3"});
    fs::create_directory(path("music"));
    constexpr int count = 300;
    for (int number = 100; number < 100 + count; ++number) {
        write_file(path("music/" + std::to_string(number) + ".mp3"), "no music");
    }
    write_file(path("round.m3u"), "music\nround.m3u\n");
    play("music round.m3u good.mp3");
    EXPECT_TRUE(window_->shows("399.mp3: this is no MPEG audio; convert it first.\n"));
    EXPECT_TRUE(window_->shows("round.m3u: a list within a list is not followed;"));
    expect_end(3);
}

TEST_F(screen, changes_volume_and_repeat)
{
    play();
    ASSERT_TRUE(window_->shows("100 %"));
    window_->type("--9");
    EXPECT_TRUE(window_->shows("85 %"));
    window_->type("0");
    EXPECT_TRUE(window_->shows("90 %"));
    window_->press("Down");
    EXPECT_TRUE(window_->shows("85 %"));
    window_->type("m");
    EXPECT_TRUE(window_->shows("muted"));
    window_->type("m");
    EXPECT_TRUE(window_->shows("85 %"));
    window_->type("+++++++");
    EXPECT_TRUE(window_->shows("100 %"));
    window_->type("r");
    EXPECT_TRUE(window_->shows("100 %  repeat"));
    window_->type("r");
    EXPECT_TRUE(window_->shows("repeat all"));
    window_->type("r");
    EXPECT_TRUE(window_->loses("repeat"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, repeats_no_sound_into_a_file)
{
    const program source = make_endless_track("endless");
    play("--volume 40 --wav out.wav endless");
    ASSERT_TRUE(window_->shows("40 %"));
    window_->type("r+");
    EXPECT_TRUE(window_->shows("45 %"));
    EXPECT_THAT(window_->text(), Not(HasSubstr("repeat")));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, tells_of_keys_and_track)
{
    play("--verbose first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("h");
    EXPECT_TRUE(window_->shows("Space p     pause, go on"));
    window_->type("i");
    EXPECT_TRUE(window_->shows("File:   first.mp3"));
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->press("C-c");
    expect_end(4);
}

TEST_F(screen, stops_by_control_z_and_comes_back)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->press("C-z");
    ASSERT_TRUE(window_->shows("Stopped"));
    expect_usual_terminal();
    come_back();
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    EXPECT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("‖ first.mp3"));
    window_->press("C-z");
    ASSERT_TRUE(window_->shows("Stopped"));
    come_back();
    EXPECT_TRUE(window_->shows("‖ first.mp3"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, stops_by_control_z_also_while_a_track_fades_out)
{
    play("--verbose --fade-out 10 first.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    window_->type("f");
    window_->press("C-z");
    ASSERT_TRUE(window_->shows("first.mp3: paused"));
    ASSERT_TRUE(window_->shows("Stopped"));
    come_back();
    EXPECT_TRUE(window_->shows("■ first.mp3  0:00"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, comes_back_after_a_stop_from_outside)
{
    play("first.mp3 & echo $! > id; fg");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    kill(std::stoi(read_file(path("id"))), SIGSTOP);
    ASSERT_TRUE(window_->shows("Stopped"));
    come_back();
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, in_the_background_leaves_the_terminal_alone)
{
    program recorder = record();
    play("first.mp3 & :");
    EXPECT_TRUE(window_->shows("status 0"));
    EXPECT_TRUE(heard(recorder, 1, 20'000));
    EXPECT_THAT(window_->text(), Not(HasSubstr("▶")));
    expect_usual_terminal();
    come_back();
    EXPECT_TRUE(window_->shows("▶ first.mp3"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, follows_the_size_of_its_window)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3  ["));
    window_->type(" ");
    ASSERT_TRUE(window_->shows("‖ first.mp3  ["));
    window_->resize(40);
    EXPECT_TRUE(window_->loses("["));
    window_->resize(100);
    EXPECT_TRUE(window_->shows("‖ first.mp3  ["));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, that_is_dumb_gets_plain_lines)
{
    play("first.mp3", "TERM=dumb");
    EXPECT_TRUE(window_->shows("first.mp3: playing"));
    window_->type(" ");
    EXPECT_TRUE(window_->shows("first.mp3: paused"));
    window_->type("q");
    expect_end(0);
}

TEST_F(screen, that_is_closed_ends_the_program)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    ASSERT_EQ(temporary_folders().size(), 1U);
    window_->close();
    EXPECT_TRUE(wait_until([&] { return temporary_folders().empty(); }));
}

TEST_F(screen, gets_its_mode_back_when_two_interrupts_end_the_program)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    server_->halt();
    window_->press("C-c");
    window_->press("C-c");
    ASSERT_TRUE(window_->shows("status 4\n"));
    EXPECT_THAT(window_->text(), Not(HasSubstr("first.mp3")));
    expect_end(4);
    server_->go_on();
}

TEST_F(screen, gets_its_mode_back_when_the_sound_server_hangs_after_a_pause)
{
    play("--verbose first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type(" ");
    ASSERT_TRUE(window_->shows("first.mp3: paused"));
    server_->halt();
    window_->type(" ");
    EXPECT_TRUE(window_->shows("the sound does not go on"));
    expect_end(3);
    server_->go_on();
}

TEST_F(screen, gets_its_mode_back_when_the_sound_server_hangs_at_the_end)
{
    play("--verbose first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->type(" ");
    ASSERT_TRUE(window_->shows("first.mp3: paused"));
    server_->halt();
    window_->type("q");
    EXPECT_TRUE(window_->shows("■ first.mp3"));
    expect_end(0);
    server_->go_on();
}

TEST_F(screen, gets_its_mode_back_when_control_backslash_ends_the_program)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    window_->press("C-\\");
    expect_end(4);
}

TEST_F(screen, gets_its_mode_back_when_the_sound_server_dies)
{
    play("first.mp3");
    ASSERT_TRUE(window_->shows("0:01 / 1:00"));
    server_.reset();
    EXPECT_TRUE(window_->shows("faster than it can be heard"));
    expect_end(3);
}

TEST_F(screen, gets_its_mode_back_after_a_crash)
{
    window_->enter("sh -c 'echo $$ > id; exec " + qz_play({})[0] + " first.mp3'; echo status $?");
    ASSERT_TRUE(window_->shows("▶ first.mp3"));
    kill(std::stoi(read_file(path("id"))), SIGSEGV);
    EXPECT_TRUE(window_->shows("status " + std::to_string(128 + SIGSEGV)));
    expect_usual_terminal();
}
