#include "qz_play_test.h"
#include "sound_server.h"

#include <csignal>

using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

class tracks : public qz_play_test
{
protected:
    /// Names the track in one sentence, without an output being asked for.
    void expect_refused(const std::string& track, const std::string& reason) const
    {
        const result refused = run({track});
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.errors, "qz_play: " + track + ": " + reason + "\n");
        EXPECT_THAT(refused.output, IsEmpty());
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }

    /// The beginning of a track of another rate behind a whole one, where no decoder goes on.
    [[nodiscard]] std::string make_broken_track() const
    {
        const std::string whole = make_track({"44100.mp3"});
        const std::string other = make_track({"48000.mp3", "0.5", "48000"});
        write_file(path("broken.mp3"), read_file(whole) + read_file(other));
        return path("broken.mp3");
    }
};

} // namespace

TEST_F(tracks, that_are_missing_are_refused)
{
    expect_refused(path("none.mp3"), "there is no such file; check its name.");
}

TEST_F(tracks, play_also_where_their_measuring_takes_for_ever)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    settings.environment["LD_PRELOAD"] = QZ_BLOCKED_SCAN;
    settings.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
    const std::string track = make_track({});
    const result played = run({track});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, HasSubstr(track + ": stopped\n"));
}

TEST_F(tracks, of_a_folder_are_played_from_the_one_to_start_with)
{
    make_track({"home/a.mp3"});
    make_track({"home/b.mp3"});
    const result played = run({"--start", "2", "--wav", path("out.wav"), path("home")});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, HasSubstr(path("home/b.mp3") + ": playing\n"));
    EXPECT_THAT(played.errors, ::testing::Not(HasSubstr(path("home/a.mp3") + ": playing\n")));
}

TEST_F(tracks, beyond_the_list_cannot_be_started_with)
{
    const result refused = run({"--start", "3", "a.mp3", "b.mp3"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors, "qz_play: there is no track 3 to start with; the last one is 2.\n");
}

TEST_F(tracks, that_are_shuffled_are_played_once_each)
{
    const std::vector<std::string> all{make_track({"a.mp3"}), make_track({"b.mp3"}),
                                       make_track({"c.mp3"})};
    const result played = run({"--shuffle", "--wav", path("out.wav"), all[0], all[1], all[2]});
    EXPECT_EQ(played.status, 0);
    for (const std::string& track : all) {
        const std::string line = track + ": playing\n";
        const std::size_t told = played.errors.find(line);
        ASSERT_NE(told, std::string::npos) << played.errors;
        EXPECT_EQ(played.errors.find(line, told + 1), std::string::npos) << played.errors;
    }
}

TEST_F(tracks, of_a_looped_list_are_played_again)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string first = make_track({"a.mp3"}) + ": playing\n";
    program player(qz_play({"--loop", path("a.mp3"), make_track({"b.mp3"})}), settings);
    ASSERT_TRUE(player.wait_for_error_text("b.mp3: stopped\n"));
    EXPECT_TRUE(player.wait_for_errors(
        [&](const std::string& all) { return all.find(first) != all.rfind(first); }));
    player.send(SIGTERM);
    EXPECT_EQ(player.wait_for_exit(), 4);
}

TEST_F(tracks, that_all_fail_are_not_tried_round_and_round)
{
    const result refused = run({"--loop", path("none.mp3"), path("neither.mp3")});
    EXPECT_EQ(refused.status, 2);
}

TEST_F(tracks, below_what_is_no_folder_are_refused)
{
    write_file(path("file"), "x");
    expect_refused(path("file/track.mp3"),
                   "this file cannot be read (Not a directory); check its name and its disk.");
}

TEST_F(tracks, that_are_empty_folders_are_refused)
{
    expect_refused(path("home"), "there is no MPEG audio file in this folder; name another.");
}

TEST_F(tracks, that_are_empty_are_refused)
{
    write_file(path("empty.mp3"), "");
    expect_refused(path("empty.mp3"), "this file is empty; make or fetch it anew.");
}

TEST_F(tracks, that_are_no_audio_are_refused)
{
    write_file(path("text.mp3"), "This is no music.\n");
    expect_refused(path("text.mp3"), "this is no MPEG audio; convert it first.");
}

TEST_F(tracks, that_are_lists_within_a_list_are_refused)
{
    write_file(path("inner.m3u"), "a.mp3\n");
    write_file(path("outer.m3u"), "inner.m3u\n");
    const result refused = run({path("outer.m3u")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors,
              "qz_play: " + path("inner.m3u") +
                  ": a list within a list is not followed; name it on the command line.\n");
}

TEST_F(tracks, on_the_net_are_refused)
{
    expect_refused("http://host/a.mp3", "only files can be played; download it and name the file.");
}

TEST_F(tracks, without_a_sample_are_refused)
{
    expect_refused(make_track({"void.mp3", "", "44100", "2", {"trim", "0", "0"}}),
                   "this file holds no sound; make or fetch it anew.");
}

TEST_F(tracks, that_may_not_be_read_are_refused)
{
    const std::string track = make_track({});
    fs::permissions(track, fs::perms::none);
    settings.unprivileged = geteuid() == 0;
    if (settings.unprivileged && program(qz_play({"--version"}), settings).wait_for_exit() != 0) {
        GTEST_SKIP() << "nobody cannot enter the folder of the program";
    }
    expect_refused(track, "this file may not be read; change its permissions.");
    fs::permissions(path("home"), fs::perms::none);
    expect_refused(path("home"), "this folder may not be read; change its permissions.");
}

TEST_F(tracks, with_control_characters_in_their_names_do_not_reach_the_terminal)
{
    const result refused = run({path("a\nb\x1b[31m\x7f.mp3")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors,
              "qz_play: " + path("a?b?[31m?.mp3") + ": there is no such file; check its name.\n");
}

TEST_F(tracks, with_control_characters_beyond_ascii_do_not_reach_the_terminal_either)
{
    settings.environment["LC_ALL"] = "C.UTF-8";
    settings.terminal = true;
    const result refused = run({path("\xc2\x9b"
                                     "2J\xc3\xa4.mp3")});
    EXPECT_EQ(refused.errors, "qz_play: " + path("?2J\xc3\xa4.mp3") +
                                  ": there is no such file; check its name.\r\n");
}

TEST_F(tracks, that_fail_let_the_others_play)
{
    const std::string track = make_track({});
    const result played =
        run({"--wav", path("out.wav"), path("none.mp3"), track, path("home"), track});
    EXPECT_EQ(played.status, 3);
    EXPECT_EQ(played.errors, "qz_play: " + path("none.mp3") +
                                 ": there is no such file; check its name.\n"
                                 "sound output: opened\n" +
                                 track + ": loaded\n" + track + ": playing\n" + track +
                                 ": stopped\n"
                                 "qz_play: " +
                                 path("home") +
                                 ": there is no MPEG audio file in this folder; name another.\n" +
                                 track + ": loaded\n" + track + ": playing\n" + track +
                                 ": stopped\n"
                                 "sound output: closed\n");
    EXPECT_EQ(read_wav(path("out-2.wav")).samples, decoded(track));
    EXPECT_EQ(read_wav(path("out-4.wav")).samples, decoded(track));
}

TEST_F(tracks, that_break_off_are_told_of_once_and_let_the_next_one_play)
{
    const std::string broken = make_broken_track();
    const std::string track = make_track({});
    const result played = run({"--wav", path("out.wav"), broken, track});
    EXPECT_EQ(played.status, 3);
    const std::string sentence = "qz_play: " + broken + ": the sound breaks off, ";
    const std::size_t told = played.errors.find(sentence);
    ASSERT_NE(told, std::string::npos) << played.errors;
    EXPECT_EQ(played.errors.find(sentence, told + 1), std::string::npos) << played.errors;
    EXPECT_EQ(read_wav(path("out-2.wav")).samples, decoded(track));
}

TEST_F(tracks, whose_sound_breaks_off_are_not_all_played)
{
    EXPECT_EQ(run({"--wav", path("out.wav"), make_broken_track()}).status, 3);
}

TEST_F(tracks, that_are_no_files_are_left_to_the_player)
{
    const std::string track = make_track({});
    const result played = run({"--wav", path("out.wav"), "/dev/null", track});
    EXPECT_EQ(played.status, 3);
    EXPECT_THAT(played.errors, HasSubstr("qz_play: /dev/null: this file cannot be decoded ("));
    EXPECT_EQ(read_wav(path("out-2.wav")).samples, decoded(track));
}

TEST_F(tracks, may_come_through_a_pipe)
{
    const std::string track = make_track({});
    const std::string command = R"(cat "$1" | "$2" --wav "$3" /dev/stdin)";
    program player({"sh", "-c", command, "sh", track, qz_play({})[0], path("out.wav")}, settings);
    EXPECT_EQ(player.wait_for_exit(), 0) << player.errors();
    EXPECT_EQ(read_wav(path("out.wav")).samples, decoded(track));
}
