#include "event.h"
#include "qz_play_test.h"

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;

namespace
{

constexpr int ended_by_signal = 4;
constexpr auto hangs = ": the sound output does not respond\n";
constexpr auto too_fast = ": the sound output takes data faster than real time\n";
constexpr auto cannot_start = ": the sound output cannot be started\n";
constexpr auto gives_up = "qz_play: the sound output keeps failing; giving up\n";

/// Waits until somebody reads the pipe, and returns its other end.
int wait_for_reader(const std::string& pipe)
{
    int writer = -1;
    EXPECT_TRUE(wait_until([&] {
        writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        return writer >= 0;
    }));
    return writer;
}

class signals : public qz_play_test
{
protected:
    void expect_end_by_signal(program& player) const
    {
        EXPECT_EQ(player.wait_for_exit(), ended_by_signal);
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }
};

class one_signal : public signals, public ::testing::WithParamInterface<int>
{
};

/// What happens to the sound server while the first track plays, a long one.
struct server_trouble {
    std::string name;
    bool dies;
    std::vector<std::string> options;
    std::vector<std::string> expected; ///< Each follows the path of the track of this place.
    std::string first_seconds = "60";
};

class server_in_trouble : public qz_play_test, public ::testing::WithParamInterface<server_trouble>
{
};

} // namespace

TEST_P(one_signal, stops_cleanly)
{
    const program source = make_endless_track("endless");
    const std::string track = path("endless");
    program player(qz_play({"--wav", path("out.wav"), track, make_track({})}), settings);
    ASSERT_TRUE(wait_until([&] {
        return fs::exists(path("out-1.wav")) && fs::file_size(path("out-1.wav")) > 100'000;
    }));
    player.send(GetParam());
    expect_end_by_signal(player);
    EXPECT_THAT(player.errors(), HasSubstr(track + ": stopped\nsound output: closed\n"));
    EXPECT_FALSE(fs::exists(path("out-2.wav")));
    EXPECT_TRUE(read_wav(path("out-1.wav")).header_fits);
}

INSTANTIATE_TEST_SUITE_P(each, one_signal,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2,
                                           SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU));

TEST_F(signals, twice_end_a_player_whose_output_is_blocked)
{
    const std::string pipe = make_pipe("pipe");
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    program player(qz_play({"--wav", pipe, make_track({"tone.mp3", "60"})}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    pollfd room{writer, POLLOUT, 0};
    ASSERT_TRUE(wait_until([&] { return poll(&room, 1, 0) == 0; }));
    EXPECT_EQ(temporary_folders().size(), 1U);
    end_at_once(player);
    expect_end_by_signal(player);
    EXPECT_THAT(player.errors(), Not(HasSubstr("stopped")));
    close(writer);
    close(reader);
}

TEST_F(signals, of_a_child_and_its_group_are_one_request)
{
    start_server();
    const std::string track = make_track({"tone.mp3", "60"});
    program player(qz_play({track}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    player.send(SIGINT);
    player.send(SIGTERM);
    expect_end_by_signal(player);
    EXPECT_THAT(player.errors(), HasSubstr(track + ": stopped\nsound output: closed\n"));
}

TEST_F(signals, that_are_ignored_stay_so)
{
    start_server();
    const std::string command = R"(trap "" INT QUIT HUP; exec "$1" "$2")";
    program player({"sh", "-c", command, "sh", qz_play({})[0], make_track({"tone.mp3", "2"})},
                   settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP}) {
        player.send(signal);
    }
    EXPECT_EQ(player.wait_for_exit(), 0);
}

TEST_F(signals, end_a_player_whose_track_never_comes)
{
    const std::string pipe = make_pipe("track");
    program writer(qz_play({"--wav", path("out.wav"), pipe}), settings);
    ASSERT_TRUE(writer.wait_for_error_text("opened\n"));
    writer.send(SIGTERM);
    expect_end_by_signal(writer);
    start_server();
    program player(qz_play({pipe}), settings);
    ASSERT_TRUE(player.wait_for_error_text("opened\n"));
    player.send(SIGTERM);
    expect_end_by_signal(player);
}

TEST_F(signals, end_a_player_whose_list_never_comes)
{
    program player(qz_play({make_pipe("list.m3u")}), settings);
    const int writer = wait_for_reader(path("list.m3u"));
    player.send(SIGINT);
    expect_end_by_signal(player);
    close(writer);
}

TEST_F(signals, twice_end_a_player_whose_sound_server_hangs)
{
    start_server();
    program player(qz_play({"--repeat", make_track({})}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server->halt();
    end_at_once(player);
    expect_end_by_signal(player);
    server->go_on();
}

TEST_P(server_in_trouble, ends_the_list)
{
    const server_trouble& trouble = GetParam();
    start_server();
    std::vector<std::string> tracks{make_track({"1.mp3", trouble.first_seconds})};
    for (const char* name : {"2.mp3", "3.mp3", "4.mp3"}) {
        tracks.push_back(make_link(name));
    }
    std::vector<std::string> arguments = trouble.options;
    arguments.insert(arguments.end(), tracks.begin(), tracks.end());
    program player(qz_play(arguments), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    if (trouble.dies) {
        server.reset();
    } else {
        server->halt();
    }
    EXPECT_EQ(player.wait_for_exit(), 3);
    if (server) {
        server->go_on();
    }
    for (std::size_t place = 0; place < trouble.expected.size(); ++place) {
        EXPECT_THAT(player.errors(), HasSubstr(tracks[place] + trouble.expected[place]));
    }
    EXPECT_THAT(player.errors(), HasSubstr(gives_up));
    EXPECT_THAT(player.errors(), Not(HasSubstr(tracks[trouble.expected.size()])));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    each, server_in_trouble,
    ::testing::Values(server_trouble{"hangs", false, {}, {hangs, hangs}},
                      server_trouble{"dies", true, {}, {too_fast, cannot_start, cannot_start}},
                      server_trouble{"dies_under_a_repeated_track",
                                     true,
                                     {"--repeat"},
                                     {too_fast, cannot_start, cannot_start},
                                     "2"}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(signals, are_not_needed_where_a_sound_server_hangs_for_a_while)
{
    start_server();
    const std::string track = make_track({"tone.mp3", "60"});
    const std::string second = make_track({"second.mp3"});
    program player(qz_play({track, second}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server->halt();
    ASSERT_TRUE(player.wait_for_error_text(track + hangs));
    server->go_on();
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr(second + ": stopped\nsound output: closed\n"));
}

TEST_F(signals, are_not_needed_where_a_sound_server_hangs_under_a_track_from_a_pipe)
{
    start_server();
    const program source = make_endless_track("endless");
    program player(qz_play({path("endless")}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server->halt();
    EXPECT_EQ(player.wait_for_exit(), 3);
    server->go_on();
    EXPECT_THAT(player.errors(), HasSubstr(path("endless") + hangs));
}

TEST_F(signals, are_not_needed_where_a_sound_server_hangs_from_the_start)
{
    start_server();
    const std::string track = make_track({});
    server->halt();
    program player(qz_play({track}), settings);
    EXPECT_EQ(player.wait_for_exit(), 2);
    server->go_on();
    EXPECT_THAT(player.errors(), HasSubstr(track + hangs));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}
