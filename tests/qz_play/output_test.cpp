#include "qz_play_test.h"
#include "sound_server.h"

#include <algorithm>
#include <csignal>

#include <sys/stat.h>

using ::testing::AllOf;
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
        mkfifo(path("track").c_str(), 0600);
        arguments.push_back(path("track"));
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
        return modules;
    }

    /// Returns how much sound the server holds for qz_play.
    double buffered_microseconds()
    {
        const sound_server server(path(""));
        settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
        program player(qz_play({"--repeat", make_track({})}), settings);
        EXPECT_TRUE(player.wait_for_error_text(": playing\n"));
        program list({"pactl", "list", "sink-inputs"}, server.client_settings());
        EXPECT_EQ(list.wait_for_exit(), 0);
        const std::string label = "Buffer Latency: ";
        const std::size_t place = list.output().find(label);
        EXPECT_NE(place, std::string::npos) << list.output();
        player.send(SIGINT);
        EXPECT_EQ(player.wait_for_exit(), 4);
        return std::stod(list.output().substr(place + label.size()));
    }

    /// Plays with `options` on a sound server; returns the loudness of what is heard, tenth by tenth of
    /// a second, from the first sound to the last.
    std::vector<double> heard(const std::vector<std::string>& options, const std::string& track)
    {
        const sound_server server(path(""));
        settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
        program recorder(sound_server::recorder(), server.client_settings());
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
        const sound_server server(path(""));
        settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
        program recorder(sound_server::recorder(), server.client_settings());
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

void expect_fade_out_of_a_second(const std::vector<double>& levels, double loudest)
{
    EXPECT_LT(levels.at(levels.size() - 5), loudest * 0.75) << "half a second before the end";
    EXPECT_LT(levels.at(levels.size() - 2), loudest / 3) << "the second-last tenth";
}

} // namespace

TEST_F(output, that_is_nowhere_is_an_error_that_names_the_way_out)
{
    if (machine_has_sound()) {
        GTEST_SKIP() << "this machine has sound";
    }
    const result refused = run({make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors,
                AllOf(HasSubstr("qz_play: no sound output can be used here"), HasSubstr("--wav")));
    EXPECT_EQ(std::count(refused.errors.begin(), refused.errors.end(), '\n'), 1);
    EXPECT_THAT(temporary_folders(), IsEmpty());
}

TEST_F(output, of_a_server_that_has_gone_is_none)
{
    if (machine_has_sound()) {
        GTEST_SKIP() << "this machine has sound";
    }
    settings.environment["PULSE_SERVER"] = "{machine}unix:" + path("none");
    const result refused = run({make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, HasSubstr("--wav"));
}

TEST_F(output, without_modules_is_an_error_that_names_the_package)
{
    settings.environment["MPG123_MODDIR"] = path("home");
    const result refused = run({"--wav", path("out.wav"), make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.errors, "qz_play: libout123's output modules are not in " + path("home") +
                                  "; install the Debian package mpg123, which holds them.\n");
}

TEST_F(output, that_cannot_be_opened_is_an_error_that_names_the_way_out)
{
    settings.environment["MPG123_MODDIR"] = path("home");
    const result refused = run({make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors, AllOf(HasSubstr("qz_play: the sound output cannot be opened ("),
                                      HasSubstr("--wav")));
}

TEST_F(output, libraries_are_heard_where_everything_is_told)
{
    settings.environment["MPG123_MODDIR"] = path("home");
    const std::string track = make_track({});
    const auto lines_of = [&](const std::vector<std::string>& arguments) {
        const std::string errors = run(arguments).errors;
        return std::count(errors.begin(), errors.end(), '\n');
    };
    EXPECT_EQ(lines_of({track}), 1);
    EXPECT_GT(lines_of({"--verbose", track}), 1);
}

TEST_F(output, needs_a_temporary_folder)
{
    settings.environment["TMPDIR"] = path("none");
    const result refused = run({"--wav", path("out.wav"), make_track({})});
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.errors,
                AllOf(HasSubstr("qz_play: no temporary folder can be made"), HasSubstr("TMPDIR")));
}

TEST_F(output, into_a_wav_file_uses_nothing_but_alsa)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    EXPECT_THAT(modules_in_use({"--wav", path("out.wav")}),
                ElementsAre(EndsWith("/output_alsa.so")));
}

TEST_F(output, on_a_server_uses_no_module_that_could_hang)
{
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    const std::vector<std::string> modules = modules_in_use({});
    EXPECT_THAT(modules, ::testing::Contains(EndsWith("/output_pulse.so")));
    EXPECT_THAT(modules,
                Each(::testing::AnyOf(EndsWith("/output_pulse.so"), EndsWith("/output_alsa.so"))));
}

TEST_F(output, modules_are_taken_from_the_folder_asked_for)
{
    const std::string modules = make_module_folder("modules");
    EXPECT_THAT(modules_in_use({"--bin-path", modules, "--wav", path("out.wav")}),
                ElementsAre(modules + "/output_alsa.so"));
}

TEST_F(output, goes_where_alsa_has_been_told_to_write)
{
    const std::string track = make_track({});
    settings.environment["ALSA_CONFIG_PATH"] = make_alsa_configuration(path("alsa.wav"));
    EXPECT_EQ(run({track}).status, 0);
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(track));
}

TEST_F(output, is_the_users_choice_where_there_is_one)
{
    const std::string track = make_track({});
    settings.environment["MPG123_MODDIR"] = make_module_folder("modules");
    settings.environment["ALSA_CONFIG_PATH"] = make_alsa_configuration(path("alsa.wav"));
    const sound_server server(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server.runtime_folder();
    EXPECT_EQ(run({track}).status, 0);
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(track));
}

TEST_F(output, on_a_server_is_heard)
{
    const std::vector<double> levels = heard({}, make_track({"tone.mp3", "1"}));
    EXPECT_GT(*std::max_element(levels.begin(), levels.end()), 10'000);
}

TEST_F(output, on_a_server_at_another_place_is_heard)
{
    const sound_server server(path(""));
    settings.environment["PULSE_SERVER"] = "unix:" + server.socket();
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
                HasSubstr("qz_play: " + stereo +
                          ": the sound output cannot be started for this file; "
                          "see whether the sound server still runs and the device is free.\n"));
    EXPECT_TRUE(read_wav(path("alsa.wav")).samples == decoded(mono));
}

TEST_F(output, on_a_server_is_buffered_as_long_as_the_user_wants)
{
    const double chosen_here = buffered_microseconds();
    settings.environment["PULSE_LATENCY_MSEC"] = "500";
    EXPECT_LT(chosen_here, buffered_microseconds() / 2);
}

TEST_F(output, falls_silent_softly_unless_that_is_not_wanted)
{
    EXPECT_GT(length_of_end({}), 5);
    EXPECT_LT(length_of_end({"--no-smooth"}), 5);
}

TEST_F(output, fades_in_and_out)
{
    const std::vector<double> levels =
        heard({"--fade-in", "1", "--fade-out", "1"}, make_track({"tone.mp3", "3"}));
    const double loudest = *std::max_element(levels.begin(), levels.end());
    EXPECT_GT(loudest, 10'000);
    EXPECT_LT(levels.front(), loudest / 2);
    expect_fade_out_of_a_second(levels, loudest);
    EXPECT_GT(levels[levels.size() / 2], loudest * 0.9);
}

TEST_F(output, fades_out_alone)
{
    const std::vector<double> levels = heard({"--fade-out", "1"}, make_track({"tone.mp3", "3"}));
    const double loudest = *std::max_element(levels.begin(), levels.end());
    EXPECT_GT(loudest, 10'000);
    EXPECT_GT(levels[levels.size() / 2], loudest * 0.9);
    expect_fade_out_of_a_second(levels, loudest);
}

TEST_F(output, fades_a_track_that_is_shorter_than_its_fades)
{
    const std::vector<double> levels =
        heard({"--fade-in", "3", "--fade-out", "3"}, make_track({"tone.mp3", "2"}));
    const double loudest = *std::max_element(levels.begin(), levels.end());
    EXPECT_LT(loudest, 10'000) << "a third of the volume is all that it can reach";
    EXPECT_LT(levels.back(), loudest / 2);
}

TEST_F(output, fades_out_a_track_that_is_shorter_than_the_fade)
{
    const std::vector<double> levels = heard({"--fade-out", "20"}, make_track({"tone.mp3", "2"}));
    const double loudest = *std::max_element(levels.begin(), levels.end());
    EXPECT_LT(loudest, 5'000) << "a tenth of the volume is where it begins";
    EXPECT_LT(levels.back(), loudest / 2);
}
