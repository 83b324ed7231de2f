#include "qz_play_test.h"

#include <algorithm>
#include <csignal>

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t tenth_of_a_second = 4410;
constexpr std::size_t hundredth_of_a_second = 441;

class output : public qz_play_test
{
protected:
    static bool machine_has_sound()
    {
        return fs::exists("/dev/snd") || fs::exists("/etc/asound.conf") ||
               fs::exists("/var/run/pulse/native");
    }

    /// Returns the modules that qz_play leaves to libout123, while it waits for a track.
    [[nodiscard]] std::vector<std::string> modules_in_use(std::vector<std::string> arguments) const
    {
        arguments.push_back(make_pipe("track"));
        program player(qz_play(arguments), settings);
        EXPECT_TRUE(player.wait_for_error_text("opened\n")) << player.errors();
        std::vector<std::string> modules;
        for (const fs::path& folder : temporary_folders()) {
            for (const auto& entry : fs::directory_iterator(folder)) {
                modules.push_back(fs::read_symlink(entry));
            }
        }
        end_at_once(player);
        EXPECT_EQ(player.wait_for_exit(), 4);
        fs::remove(path("track"));
        return modules;
    }

    /// Returns what the server knows of qz_play, which plays.
    std::string stream_on_server()
    {
        start_server();
        program player(qz_play({"--repeat", make_track({})}), settings);
        EXPECT_TRUE(player.wait_for_error_text(": playing\n"));
        program list({"pactl", "list", "sink-inputs"}, server->client_settings());
        EXPECT_EQ(list.wait_for_exit(), 0);
        player.send(SIGINT);
        EXPECT_EQ(player.wait_for_exit(), 4);
        return list.output();
    }

    double buffered_microseconds()
    {
        const std::string stream = stream_on_server();
        const std::string label = "Buffer Latency: ";
        const std::size_t place = stream.find(label);
        EXPECT_NE(place, std::string::npos) << stream;
        return std::stod(stream.substr(place + label.size()));
    }

    /// Plays with `options` on a sound server; returns the loudness of what is heard, tenth by tenth of
    /// a second, from the first sound to the last.
    std::vector<double> heard(const std::vector<std::string>& options, const std::string& track)
    {
        start_server();
        program recorder(sound_server::recorder(), server->client_settings());
        EXPECT_TRUE(recorder.wait_for_output([](const std::string& all) { return !all.empty(); }));

        std::vector<std::string> arguments = options;
        arguments.push_back(track);
        const result played = run(arguments);
        EXPECT_EQ(played.status, 0) << played.errors;
        EXPECT_THAT(played.output, IsEmpty());
        EXPECT_THAT(temporary_folders(), IsEmpty());

        EXPECT_TRUE(recorder.wait_for_output(has_sound_and_silence_after_it));
        return without_silence(loudness(recorder.output(), tenth_of_a_second));
    }

    /// Plays with `options` on a sound server until it sounds, and asks for the end; returns for how many
    /// hundredths of a second it was neither as loud as before nor silent.
    std::ptrdiff_t length_of_end(std::vector<std::string> options)
    {
        start_server();
        program recorder(sound_server::recorder(), server->client_settings());
        options.push_back(make_track({"tone.mp3", "60"}));
        program player(qz_play(options), settings);
        EXPECT_TRUE(recorder.wait_for_output([](const std::string& all) {
            const std::vector<double> levels = loudness(all, tenth_of_a_second);
            return std::find_if(levels.begin(), levels.end(), is_loud) != levels.end();
        }));
        player.send(SIGINT);
        EXPECT_EQ(player.wait_for_exit(), 4);
        EXPECT_TRUE(recorder.wait_for_output(has_sound_and_silence_after_it));
        const std::vector<double> levels =
            without_silence(loudness(recorder.output(), hundredth_of_a_second));
        const auto last_loud = std::find_if(levels.rbegin(), levels.rend(), is_loud);
        return (last_loud - levels.rbegin()) - std::count_if(levels.rbegin(), last_loud, is_silent);
    }

private:
    static bool is_loud(double level) { return level > 14'000; }
    static bool is_silent(double level) { return level < 1; }

    static bool has_sound_and_silence_after_it(const std::string& all)
    {
        const std::vector<double> levels = loudness(all, tenth_of_a_second);
        const auto last = std::find_if_not(levels.rbegin(), levels.rend(), is_silent);
        return last != levels.rend() && std::distance(levels.rbegin(), last) > 5;
    }

    static std::vector<double> without_silence(const std::vector<double>& levels)
    {
        const auto first = std::find_if_not(levels.begin(), levels.end(), is_silent);
        const auto last = std::find_if_not(levels.rbegin(), levels.rend(), is_silent).base();
        return {first, last};
    }
};

} // namespace

TEST_F(output, that_does_not_exist_is_an_error_that_names_the_way_out)
{
    if (machine_has_sound()) {
        GTEST_SKIP() << "this machine has sound";
    }
    const std::string track = make_track({});
    for (const char* server_name : {"", "{machine}unix:/none"}) {
        settings.environment["PULSE_SERVER"] = server_name;
        const result refused = run({track});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.errors,
                  "qz_play: no sound output: no PulseAudio server answers and ALSA has no sound "
                  "card; use --wav FILE to write the sound to a file\n");
        EXPECT_THAT(temporary_folders(), IsEmpty());
    }
}

TEST_F(output, that_cannot_be_used_is_an_error_that_names_the_way_out)
{
    const std::string track = make_track({});
    settings.environment["MPG123_MODDIR"] = path("home");
    const result no_module = run_to_wav({track});
    EXPECT_EQ(no_module.status, 1);
    EXPECT_EQ(no_module.errors, "qz_play: no output modules of libout123 in " + path("home") +
                                    "; install the Debian package mpg123\n");
    const result not_opened = run({track});
    EXPECT_EQ(not_opened.status, 1);
    EXPECT_THAT(not_opened.errors, AllOf(HasSubstr("qz_play: the sound output cannot be opened ("),
                                         HasSubstr("--wav")));
    EXPECT_EQ(count(not_opened.errors, "\n"), 1U);
    EXPECT_GT(count(run({"--verbose", track}).errors, "\n"), 1U) << "the library's messages";
    settings.environment["TMPDIR"] = path("none");
    const result no_folder = run_to_wav({track});
    EXPECT_EQ(no_folder.status, 1);
    EXPECT_EQ(no_folder.errors, "qz_play: cannot create a folder in " + path("none") +
                                    ": No such file or directory\n");
}

TEST_F(output, uses_no_module_that_could_hang)
{
    start_server();
    EXPECT_THAT(modules_in_use({"--wav", path("out.wav")}),
                ElementsAre(EndsWith("/output_alsa.so")));
    const std::vector<std::string> of_device = modules_in_use({});
    EXPECT_THAT(of_device, ::testing::Contains(EndsWith("/output_pulse.so")));
    EXPECT_THAT(of_device, Each(AnyOf(EndsWith("/output_pulse.so"), EndsWith("/output_alsa.so"))));
    const std::string modules = make_module_folder("modules");
    EXPECT_THAT(modules_in_use({"--bin-path", modules, "--wav", path("out.wav")}),
                ElementsAre(modules + "/output_alsa.so"));
}

TEST_F(output, goes_to_alsas_default_device_if_there_is_no_server_or_the_user_wants_it)
{
    const std::string track = make_track({});
    settings.environment["ALSA_CONFIG_PATH"] = make_alsa_configuration(path("alsa.wav"));
    EXPECT_EQ(run({track}).status, 0);
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(track));
    fs::remove(path("alsa.wav"));
    settings.environment["MPG123_MODDIR"] = make_module_folder("modules");
    start_server();
    EXPECT_EQ(run({track}).status, 0);
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(track));
}

TEST_F(output, on_a_server_at_another_place_is_heard)
{
    server.emplace(path(""));
    settings.environment["PULSE_SERVER"] = "unix:" + server->socket();
    EXPECT_EQ(run({make_track({})}).status, 0);
}

TEST_F(output, that_refuses_the_format_of_one_track_plays_the_next)
{
    settings.environment["ALSA_CONFIG_PATH"] = make_alsa_configuration(path("alsa.wav"), true);
    // libout123's module never closes a device whose format it could not set.
    settings.environment["ASAN_OPTIONS"] = "detect_leaks=0";
    const std::string stereo = make_track({"stereo.mp3", "0.5", "44100", "2"});
    const std::string mono = make_track({"mono.mp3", "0.5", "44100", "1"});
    const result played = run({stereo, mono});
    EXPECT_EQ(played.status, 3);
    EXPECT_THAT(played.errors,
                HasSubstr("qz_play: " + stereo + ": the sound output cannot be started\n"));
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(mono));
}

TEST_F(output, on_a_server_is_buffered_as_long_as_the_user_wants)
{
    const double chosen_here = buffered_microseconds();
    settings.environment["PULSE_LATENCY_MSEC"] = "500";
    EXPECT_LT(chosen_here, buffered_microseconds() / 2);
}

TEST_F(output, on_a_server_bears_the_programs_name_unless_the_user_wants_another)
{
    EXPECT_THAT(stream_on_server(), AllOf(HasSubstr("application.name = \"qz_play\""),
                                          HasSubstr("media.role = \"music\"")));
    settings.environment["PULSE_PROP_application.name"] = "mine";
    settings.environment["PULSE_PROP_media.role"] = "game";
    EXPECT_THAT(stream_on_server(), AllOf(HasSubstr("application.name = \"mine\""),
                                          HasSubstr("media.role = \"game\"")));
}

TEST_F(output, falls_silent_softly_unless_that_is_not_wanted)
{
    EXPECT_GT(length_of_end({}), 5);
    EXPECT_LT(length_of_end({"--no-smooth"}), 5);
}

TEST_F(output, fades_in_and_out)
{
    const std::string track = make_track({"tone.mp3", "3"});
    for (const auto& options : {std::vector<std::string>{"--fade-in", "1", "--fade-out", "1"},
                                std::vector<std::string>{"--fade-out", "1"}}) {
        const std::vector<double> levels = heard(options, track);
        const double loudest = *std::max_element(levels.begin(), levels.end());
        EXPECT_GT(loudest, 10'000);
        EXPECT_EQ(levels.at(2) < loudest / 2, options.front() == "--fade-in");
        EXPECT_GT(levels[levels.size() / 2], loudest * 0.9);
        EXPECT_LT(levels.at(levels.size() - 5), loudest * 0.75) << "half a second before the end";
        EXPECT_LT(levels.at(levels.size() - 2), loudest / 3) << "the second-last tenth";
    }
}

TEST_F(output, fades_a_track_that_is_shorter_than_its_fades)
{
    const std::string track = make_track({"tone.mp3", "2"});
    const auto expect_peak_below = [&](double most, const std::vector<std::string>& options) {
        const std::vector<double> levels = heard(options, track);
        const double loudest = *std::max_element(levels.begin(), levels.end());
        EXPECT_LT(loudest, most);
        EXPECT_LT(levels.back(), loudest / 2);
    };
    expect_peak_below(10'000, {"--fade-in", "3", "--fade-out", "3"}); // a third of the volume
    expect_peak_below(5'000, {"--fade-out", "20"});                   // it begins at a tenth
}
