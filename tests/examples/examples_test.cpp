/// \file
/// \brief The examples, run as their readers would: into a file where it is about what sounds, on a sound
/// server where it is about time.

#include "installed_modules.h"
#include "process.h"
#include "program.h"
#include "sound_server.h"
#include "temporary_folder.h"
#include "wav_file.h"

#include <gmock/gmock.h>

#include <csignal>

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace
{

class examples_test : public ::testing::Test
{
protected:
    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() / name; }

    static std::vector<std::string> example(const std::string& name,
                                            std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), program_folder() / "examples" / name);
        return arguments;
    }

    [[nodiscard]] std::string make_track(const std::string& name, const std::string& seconds,
                                         const std::string& rate = "44100") const
    {
        run_tool({"sox", "-n", "-r", rate, "-c", "2", path("sound.wav"), "synth", seconds, "sine",
                  "300-3000"});
        run_tool({"lame", "--quiet", "-b", "64", path("sound.wav"), path(name)});
        return path(name);
    }

    /// The player tells two errors and then stopped where the rate changes.
    [[nodiscard]] std::string make_damaged_track(const std::string& name) const
    {
        write_file(path(name), read_file(make_track("high.mp3", "0.5")) +
                                   read_file(make_track("low.mp3", "0.5", "22050")));
        return path(name);
    }

    [[nodiscard]] std::string decoded(const std::string& track) const
    {
        run_tool({"mpg123", "-q", "-w", path("decoded.wav"), track});
        return read_wav(path("decoded.wav")).samples;
    }

    /// A silent output that takes sound as fast as it comes and keeps what it got last.
    [[nodiscard]] program_settings sound_into(const std::string& file) const
    {
        link_output_module(path("alsa"), "alsa");
        write_file(path("asound.conf"),
                   R"(pcm.!default { type file slave.pcm { type null } format "wav" file ")" +
                       file + "\" }\nctl.!default { type null }\n");
        program_settings settings;
        settings.environment = {{"MPG123_MODDIR", path("alsa")},
                                {"ALSA_CONFIG_PATH", path("asound.conf")}};
        return settings;
    }

    void start_server() { server_.emplace(folder_.path()); }
    void kill_server() { server_.reset(); }
    [[nodiscard]] const sound_server& server() const { return *server_; }

    /// The server's sink takes sound in real time.
    [[nodiscard]] program_settings sound_to_server() const
    {
        link_output_module(path("pulse"), "pulse");
        program_settings settings = server_->client_settings();
        settings.environment["MPG123_MODDIR"] = path("pulse");
        return settings;
    }

    /// Reads on until the program has told `text`, `count` times in all.
    static bool tells(program& running, const std::string& text, int count = 1)
    {
        return running.wait_for_output([&](const std::string& told) {
            int found = 0;
            for (std::size_t at = told.find(text); at != std::string::npos;
                 at = told.find(text, at + text.size())) {
                ++found;
            }
            return found >= count;
        });
    }

private:
    temporary_folder folder_{"examples_test"};
    std::optional<sound_server> server_;
};

TEST_F(examples_test, play_track_plays_a_track_to_its_end)
{
    const std::string track = make_track("track.mp3", "1");
    program running(example("play_track", {track}), sound_into(path("played.wav")));
    EXPECT_EQ(running.wait_for_exit(), 0);
    EXPECT_EQ(read_wav(path("played.wav")).samples, decoded(track));
    EXPECT_THAT(running.output(), IsEmpty());
}

TEST_F(examples_test, play_track_tells_a_missing_track)
{
    program running(example("play_track", {path("missing.mp3")}), sound_into(path("played.wav")));
    EXPECT_EQ(running.wait_for_exit(), 1);
    EXPECT_THAT(running.errors(), HasSubstr("could not be played"));
}

TEST_F(examples_test, next_track_plays_one_after_another_and_leaves_out_what_fails)
{
    const std::string first = make_track("first.mp3", "0.5");
    const std::string last = make_track("last.mp3", "0.7");
    write_file(path("text.mp3"), "no audio");
    const std::vector<std::string> tracks{path("missing.mp3"),
                                          first,
                                          path("text.mp3"),
                                          make_damaged_track("damaged.mp3"),
                                          first,
                                          last};
    program running(example("next_track", tracks), sound_into(path("played.wav")));
    EXPECT_EQ(running.wait_for_exit(), 1);
    std::string expected;
    for (const std::string& track : tracks) {
        expected += "next: " + track + "\n";
    }
    EXPECT_EQ(running.output(), expected + "3 failed\n");
    EXPECT_EQ(read_wav(path("played.wav")).samples, decoded(last));
}

TEST_F(examples_test, fade_rises_to_full_volume_and_falls_to_silence)
{
    start_server();
    program running(example("fade", {make_track("track.mp3", "3"), "1"}), sound_to_server());
    EXPECT_EQ(running.wait_for_exit(), 0);
    EXPECT_EQ(running.output(), "full volume\nfaded out\n");
}

TEST_F(examples_test, crossfade_goes_from_one_track_to_the_other)
{
    start_server();
    program running(
        example("crossfade", {make_track("first.mp3", "5"), make_track("second.mp3", "3"), "1"}),
        sound_to_server());
    EXPECT_EQ(running.wait_for_exit(), 0);
    EXPECT_EQ(running.output(), "cross-fading\nthe second track alone\n");
}

TEST_F(examples_test, recover_plays_the_track_again_when_the_server_is_back)
{
    start_server();
    program running(example("recover", {make_track("track.mp3", "3")}), sound_to_server());
    ASSERT_TRUE(tells(running, "playing"));
    kill_server();
    ASSERT_TRUE(tells(running, "the output is lost"));
    start_server();
    EXPECT_EQ(running.wait_for_exit(), 0);
    EXPECT_THAT(running.output(), ContainsRegex("playing\nthe output is lost\n.*playing\n$"));
}

TEST_F(examples_test, kiosk_survives_bad_tracks_and_a_server_that_goes_or_hangs)
{
    start_server();
    const std::string good = make_track("good.mp3", "1");
    const std::string missing = path("missing.mp3");
    program running(example("kiosk", {good, missing}), sound_to_server());
    ASSERT_TRUE(tells(running, "failed " + missing));
    ASSERT_TRUE(tells(running, "playing " + good, 2));

    kill_server();
    ASSERT_TRUE(tells(running, "failed " + good));
    start_server();
    ASSERT_TRUE(tells(running, "playing " + good, 5));

    server().halt();
    ASSERT_TRUE(tells(running, "restarting"));
    server().go_on();
    const std::size_t before = running.output().size();
    ASSERT_TRUE(running.wait_for_output([&](const std::string& told) {
        return told.find("failed " + missing, before) != std::string::npos;
    }));
    running.send(SIGTERM);
    EXPECT_EQ(running.wait_for_exit(), 128 + SIGTERM);
}

} // namespace
