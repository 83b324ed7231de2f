#include "qz_play_test.h"

#include "installed_modules.h"
#include "process.h"

#include <csignal>
#include <iterator>

#include <sys/stat.h>

namespace fs = std::filesystem;

qz_play_test::qz_play_test()
{
    fs::permissions(folder_.path(), fs::perms::others_exec | fs::perms::others_read,
                    fs::perm_options::add);
    for (const char* kind : {"home", "temp"}) {
        fs::create_directory(path(kind));
        fs::permissions(path(kind), fs::perms::all);
    }
    settings.environment = {{"HOME", path("home")},
                            {"TMPDIR", path("temp")},
                            {"XDG_RUNTIME_DIR", path("home")},
                            {"XDG_CONFIG_HOME", std::nullopt},
                            {"DBUS_SESSION_BUS_ADDRESS", std::nullopt},
                            {"PULSE_SERVER", std::nullopt},
                            {"PULSE_RUNTIME_PATH", std::nullopt},
                            {"ALSA_CONFIG_PATH", std::nullopt},
                            {"MPG123_MODDIR", std::nullopt},
                            {"PULSE_LATENCY_MSEC", std::nullopt},
                            {"TERM", "xterm"}};
}

std::vector<std::string> qz_play_test::qz_play(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), program_folder() / "qz_play");
    return arguments;
}

qz_play_test::result qz_play_test::run(const std::vector<std::string>& arguments) const
{
    program player(qz_play(arguments), settings);
    const int status = player.wait_for_exit();
    return {status, player.output(), player.errors()};
}

void qz_play_test::end_at_once(const program& player)
{
    player.send(SIGINT);
    player.send(SIGTERM);
}

std::string qz_play_test::make_track(const sound& wanted) const
{
    std::string track = path(wanted.name);
    const std::string file = path("sound.wav");
    std::vector<std::string> make{"sox",           "-n", "-r", wanted.rate, "-c",
                                  wanted.channels, "-b", "16", file};
    make.insert(make.end(), wanted.effects.begin(), wanted.effects.end());
    run_tool(make);
    std::vector<std::string> encode{"lame", "--quiet", file, track};
    encode.insert(encode.end(), wanted.encoding.begin(), wanted.encoding.end());
    run_tool(encode);
    return track;
}

program qz_play_test::make_endless_track(const std::string& name) const
{
    const std::string track = make_track(
        {"part.mp3", "5", "44100", "2", {"synth", "5", "sine", "440"}, {"-b", "128", "-t"}});
    mkfifo(path(name).c_str(), 0600);
    return {{"sh", "-c", R"(while cat "$1"; do :; done > "$2")", "sh", track, path(name)}, {}};
}

std::string qz_play_test::decoded(const std::string& track,
                                  const std::vector<std::string>& options) const
{
    const std::string file = path("decoded.wav");
    std::vector<std::string> command{"mpg123", "-q"};
    command.insert(command.end(), options.begin(), options.end());
    command.insert(command.end(), {"-w", file, track});
    run_tool(command);
    std::string samples = read_wav(file).samples;
    EXPECT_FALSE(samples.empty());
    return samples;
}

std::vector<fs::path> qz_play_test::temporary_folders() const
{
    return {fs::directory_iterator(path("temp")), fs::directory_iterator()};
}

std::string qz_play_test::make_module_folder(const std::string& name) const
{
    link_output_module(path(name), "alsa");
    return path(name);
}

std::string qz_play_test::make_alsa_configuration(const std::string& file, bool mono) const
{
    std::string device = R"(type file slave.pcm { type null } format "wav" file ")" + file + "\"";
    if (mono) {
        device = "type multi slaves.a { pcm { " + device +
                 " } channels 1 } bindings.0 { slave a channel 0 }";
    }
    write_file(path("asound.conf"),
               "pcm.!default { " + device + " }\nctl.!default { type null }\n");
    return path("asound.conf");
}
