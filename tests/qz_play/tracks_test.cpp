#include "qz_play_test.h"

#include <csignal>
#include <utility>

#include <unistd.h>

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace fs = std::filesystem;

namespace
{

using tracks = qz_play_test;

} // namespace

TEST_F(tracks, that_cannot_be_played_are_named_with_the_reason)
{
    write_file(path("file"), "x");
    write_file(path("empty.mp3"), "");
    write_file(path("text.mp3"), "This is no music.\n");
    write_file(path("inner.m3u"), "a.mp3\n");
    write_file(path("outer.m3u"), "inner.m3u\n");
    make_track({"void.mp3", "", "44100", "2", {"trim", "0", "0"}});
    const std::vector<std::pair<std::string, std::string>> reasons{
        {path("none.mp3"), "no such file"},
        {path("file/track.mp3"), "cannot be read (Not a directory)"},
        {path("home"), "no MPEG audio file in this folder"},
        {path("empty.mp3"), "file is empty"},
        {path("text.mp3"), "not MPEG audio"},
        {path("inner.m3u"), "playlist inside a playlist"},
        {path("void.mp3"), "no sound in this file"},
        {"http://host/a.mp3", "only files can be played"},
        {"HTTPS://host/a.mp3", "only files can be played"}};
    std::vector<std::string> arguments;
    std::string messages;
    for (const auto& [track, reason] : reasons) {
        arguments.push_back(track == path("inner.m3u") ? path("outer.m3u") : track);
        messages.append("qz_play: ").append(track).append(": ").append(reason).append("\n");
    }
    const result refused = run(arguments);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.errors, messages) << "no output is asked for";
    EXPECT_THAT(refused.output, IsEmpty());
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(tracks, that_must_not_be_read_are_named_with_the_reason)
{
    const std::string track = make_track({});
    const std::string folder = path("locked");
    fs::create_directories(path("home/a"));
    fs::create_directory(folder);
    for (const std::string& locked : {track, folder, path("home/a")}) {
        fs::permissions(locked, fs::perms::none);
    }
    settings.unprivileged = geteuid() == 0;
    if (settings.unprivileged && program(qz_play({"--version"}), settings).wait_for_exit() != 0) {
        GTEST_SKIP() << "nobody cannot enter the folder of the program";
    }
    EXPECT_EQ(run({track, folder, path("home")}).errors,
              "qz_play: " + track + ": permission denied\n" + //
                  "qz_play: " + folder + ": folder cannot be read (Permission denied)\n" +
                  "qz_play: " + path("home/a") + ": folder cannot be read (Permission denied)\n");
}

TEST_F(tracks, may_have_any_names)
{
    settings.folder = path("home");
    std::vector<std::string> arguments{"--"};
    for (const char* name : {"[Artist] Live, 2004 [320]", "[a,b]", "'single' \"double\"",
                             "new\nline", "\xff\xfe \xc3\xa4", "-q"}) {
        const std::string folder = std::string("home/") + name;
        fs::create_directory(path(folder));
        make_link(folder + "/" + name + ".mp3");
        arguments.emplace_back(name);
        arguments.push_back(std::string(name) + "/" + name + ".mp3");
    }
    const result played = run_to_wav(arguments);
    EXPECT_EQ(played.status, 0) << played.errors;
    EXPECT_EQ(count(played.errors, ": playing\n"), arguments.size() - 1);
    EXPECT_THAT(played.errors, HasSubstr("\n[Artist] Live, 2004 [320]/[Artist] Live, 2004 "
                                         "[320].mp3: playing\n"));
    EXPECT_THAT(played.errors, HasSubstr("\nnew?line/new?line.mp3: playing\n"));
}

TEST_F(tracks, play_also_where_their_measuring_takes_for_ever)
{
    start_server();
    slow_down_scans();
    const std::string track = make_track({});
    const result played = run({track});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, HasSubstr(track + ": stopped\n"));
}

TEST_F(tracks, of_a_folder_are_played_from_the_one_to_start_with)
{
    make_link("home/a.mp3");
    make_link("home/b.mp3");
    const result played = run_to_wav({"--start", "2", path("home")});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, HasSubstr(path("home/b.mp3") + ": playing\n"));
    EXPECT_THAT(played.errors, Not(HasSubstr(path("home/a.mp3") + ": playing\n")));
}

TEST_F(tracks, that_are_not_in_the_list_cannot_be_started_with)
{
    const result refused = run({"--start", "3", "a.mp3", "b.mp3"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors, "qz_play: no track 3: the last one is 2\n");
    write_file(path("empty.m3u"), "# nothing\n");
    const result empty = run({path("empty.m3u")});
    EXPECT_EQ(empty.status, 1);
    EXPECT_EQ(empty.errors, "qz_play: no tracks in the list\n");
}

TEST_F(tracks, of_a_looped_list_are_played_again)
{
    start_server();
    const std::string first = make_link("a.mp3") + ": playing\n";
    program player(qz_play({"--loop", path("a.mp3"), make_link("b.mp3")}), settings);
    ASSERT_TRUE(player.wait_for_error_text("b.mp3: stopped\n"));
    EXPECT_TRUE(
        player.wait_for_errors([&](const std::string& all) { return count(all, first) > 1; }));
    player.send(SIGTERM);
    EXPECT_EQ(player.wait_for_exit(), 4);
}

TEST_F(tracks, that_all_fail_are_not_tried_round_and_round)
{
    EXPECT_EQ(run({"--loop", path("none.mp3"), path("neither.mp3")}).status, 2);
}

TEST_F(tracks, with_control_characters_in_their_names_do_not_reach_the_terminal)
{
    EXPECT_EQ(run({path("a\nb\x1b[31m\x7f.mp3")}).errors,
              "qz_play: " + path("a?b?[31m?.mp3") + ": no such file\n");
    settings.environment["LC_ALL"] = "C.UTF-8";
    settings.terminal = true;
    EXPECT_EQ(run({path("\xc2\x9b"
                        "2J\xc3\xa4.mp3")})
                  .errors,
              "qz_play: " + path("?2J\xc3\xa4.mp3") + ": no such file\r\n");
}

TEST_F(tracks, that_fail_let_the_others_play)
{
    const std::string track = make_track({});
    const std::string played = track + ": loaded\n" + track + ": playing\n" + track + ": stopped\n";
    const result all = run_to_wav({path("none.mp3"), track, path("home"), "/dev/null", track});
    EXPECT_EQ(all.status, 3);
    EXPECT_THAT(all.errors, StartsWith("qz_play: " + path("none.mp3") +
                                       ": no such file\n"
                                       "sound output: opened\n" +
                                       played + "qz_play: " + path("home") +
                                       ": no MPEG audio file in this folder\n"));
    EXPECT_THAT(all.errors, HasSubstr("\nqz_play: /dev/null: cannot be decoded: "));
    EXPECT_THAT(all.errors, EndsWith(played + "sound output: closed\n"));
    EXPECT_EQ(read_wav(path("out-2.wav")).samples, decoded(track));
    EXPECT_EQ(read_wav(path("out-5.wav")).samples, decoded(track));
}

TEST_F(tracks, that_break_off_are_reported_once_and_let_the_next_one_play)
{
    const std::string track = make_track({});
    const std::string broken = path("broken.mp3");
    write_file(broken, read_file(track) + read_file(make_track({"other.mp3", "0.5", "48000"})));
    const result played = run_to_wav({broken, track});
    EXPECT_EQ(played.status, 3);
    EXPECT_EQ(
        count(played.errors,
              "qz_play: " + broken + ": damaged, or its format changes: stopped before the end\n"),
        1U)
        << played.errors;
    EXPECT_EQ(read_wav(path("out-2.wav")).samples, decoded(track));
    EXPECT_EQ(run_to_wav({broken}).status, 3);
}

TEST_F(tracks, may_come_through_a_pipe)
{
    const std::string track = make_track({});
    const std::string command = R"(cat "$1" | "$2" --wav "$3" /dev/stdin)";
    program player({"sh", "-c", command, "sh", track, qz_play({})[0], path("out.wav")}, settings);
    EXPECT_EQ(player.wait_for_exit(), 0) << player.errors();
    EXPECT_EQ(read_wav(path("out.wav")).samples, decoded(track));
}
