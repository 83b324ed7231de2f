#include "event.h"
#include "qz_play_test.h"
#include "sound_server.h"

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;

namespace
{

constexpr int ended_by_signal = 4;

class signals : public qz_play_test
{
protected:
    /// A pipe that takes a little and then no more.
    class clogged_pipe
    {
    public:
        explicit clogged_pipe(const std::string& path)
            : reader_(make(path)), writer_(open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC))
        {
        }
        ~clogged_pipe()
        {
            close(writer_);
            close(reader_);
        }
        clogged_pipe(const clogged_pipe&) = delete;
        clogged_pipe& operator=(const clogged_pipe&) = delete;

        [[nodiscard]] bool is_full() const
        {
            pollfd room{writer_, POLLOUT, 0};
            return poll(&room, 1, 0) == 0;
        }

    private:
        static int make(const std::string& path)
        {
            mkfifo(path.c_str(), 0600);
            return open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        }

        int reader_;
        int writer_;
    };

    /// Waits until somebody reads the pipe, and returns its other end.
    static int wait_for_reader(const std::string& pipe)
    {
        int writer = -1;
        EXPECT_TRUE(wait_until([&] {
            writer = open(pipe.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            return writer >= 0;
        }));
        return writer;
    }
};

class one_signal : public signals, public ::testing::WithParamInterface<int>
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
    EXPECT_EQ(player.wait_for_exit(), ended_by_signal);

    EXPECT_THAT(player.errors(), HasSubstr(track + ": stopped\nsound output: closed\n"));
    EXPECT_FALSE(fs::exists(path("out-2.wav")));
    EXPECT_THAT(temporary_folders(), IsEmpty());
    EXPECT_TRUE(read_wav(path("out-1.wav")).header_fits);
}

INSTANTIATE_TEST_SUITE_P(each, one_signal,
                         ::testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGUSR1, SIGUSR2,
                                           SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU));

TEST_F(signals, twice_end_a_player_whose_output_is_blocked)
{
    const clogged_pipe pipe(path("pipe"));
    program player(qz_play({"--wav", path("pipe"), make_track({"tone.mp3", "60"})}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    ASSERT_TRUE(wait_until([&] { return pipe.is_full(); }));
    EXPECT_EQ(temporary_folders().size(), 1U);
    end_at_once(player);
    EXPECT_EQ(player.wait_for_exit(), ended_by_signal);
    EXPECT_THAT(player.errors(), Not(HasSubstr("stopped")));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(signals, that_are_ignored_stay_so)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string command = R"(trap "" INT QUIT HUP; exec "$1" "$2")";
    program player({"sh", "-c", command, "sh", qz_play({})[0], make_track({"tone.mp3", "2"})},
                   settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    for (const int signal : {SIGINT, SIGQUIT, SIGHUP}) {
        player.send(signal);
    }
    EXPECT_EQ(player.wait_for_exit(), 0);
}

TEST_F(signals, twice_end_a_player_whose_track_never_comes)
{
    mkfifo(path("track").c_str(), 0600);
    program player(qz_play({"--wav", path("out.wav"), path("track")}), settings);
    ASSERT_TRUE(player.wait_for_error_text("opened\n"));
    end_at_once(player);
    EXPECT_EQ(player.wait_for_exit(), ended_by_signal);
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(signals, end_a_player_whose_list_never_comes)
{
    mkfifo(path("list.m3u").c_str(), 0600);
    program player(qz_play({path("list.m3u")}), settings);
    const int writer = wait_for_reader(path("list.m3u"));
    player.send(SIGINT);
    EXPECT_EQ(player.wait_for_exit(), 128 + SIGINT);
    close(writer);
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(signals, are_not_needed_where_a_sound_server_hangs)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string track = make_track({"tone.mp3", "60"});
    const std::string second = make_track({"second.mp3"});
    const std::string third = make_track({"third.mp3"});
    program player(qz_play({track, second, third}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.halt();
    EXPECT_EQ(player.wait_for_exit(), 3);
    server.go_on();
    EXPECT_THAT(player.errors(), HasSubstr(track + ": the sound does not go on;"));
    EXPECT_THAT(player.errors(), HasSubstr(second + ": the sound does not go on;"));
    EXPECT_THAT(player.errors(), Not(HasSubstr(third)));
    EXPECT_THAT(player.errors(), HasSubstr("the rest of the list is left out.\n"));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(signals, are_not_needed_where_a_sound_server_hangs_for_a_while)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string track = make_track({"tone.mp3", "60"});
    const std::string second = make_track({"second.mp3"});
    program player(qz_play({track, second}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.halt();
    ASSERT_TRUE(player.wait_for_error_text(track + ": the sound does not go on;"));
    server.go_on();
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr(second + ": stopped\nsound output: closed\n"));
}

TEST_F(signals, are_not_needed_where_a_sound_server_hangs_from_the_start)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::string track = make_track({});
    server.halt();
    program player(qz_play({track}), settings);
    EXPECT_EQ(player.wait_for_exit(), 2);
    server.go_on();
    EXPECT_THAT(player.errors(), HasSubstr(track + ": the sound does not go on;"));
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(signals, are_not_needed_where_a_sound_server_dies)
{
    std::optional<sound_server> server(std::in_place, path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server->runtime_folder();
    const std::string track = make_track({"tone.mp3", "60"});
    program player(qz_play({track}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.reset();
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr("faster than it can be heard"));
}

TEST_F(signals, are_not_needed_where_a_sound_server_dies_before_a_long_list)
{
    std::optional<sound_server> server(std::in_place, path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server->runtime_folder();
    std::vector<std::string> tracks{make_track({"first.mp3", "60"})};
    for (const char* name : {"2.mp3", "3.mp3", "4.mp3"}) {
        tracks.push_back(make_track({name}));
    }
    program player(qz_play(tracks), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.reset();
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr(tracks[2] + ": the sound output cannot be started"));
    EXPECT_THAT(player.errors(), HasSubstr("the rest of the list is left out.\n"));
    EXPECT_THAT(player.errors(), Not(HasSubstr(tracks[3])));
}

TEST_F(signals, are_not_needed_where_a_sound_server_dies_under_a_repeated_track)
{
    std::optional<sound_server> server(std::in_place, path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server->runtime_folder();
    const std::string track = make_track({"tone.mp3", "2"});
    program player(qz_play({"--repeat", track}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.reset();
    EXPECT_EQ(player.wait_for_exit(), 3);
    EXPECT_THAT(player.errors(), HasSubstr("faster than it can be heard"));
}

TEST_F(signals, twice_end_a_player_whose_sound_server_hangs)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    program player(qz_play({"--repeat", make_track({})}), settings);
    ASSERT_TRUE(player.wait_for_error_text(": playing\n"));
    server.halt();
    end_at_once(player);
    EXPECT_EQ(player.wait_for_exit(), ended_by_signal);
    server.go_on();
    EXPECT_THAT(temporary_folders(), IsEmpty());
}
