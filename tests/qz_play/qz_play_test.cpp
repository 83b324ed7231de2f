#include "qz_play_test.h"

#include "installed_modules.h"
#include "process.h"

#include <chrono>
#include <csignal>
#include <iterator>
#include <thread>

#include <sys/stat.h>

namespace fs = std::filesystem;

std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

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

qz_play_test::result qz_play_test::run_to_wav(std::vector<std::string> arguments) const
{
    arguments.insert(arguments.begin(), {"--wav", path("out.wav")});
    return run(arguments);
}

void qz_play_test::start_server()
{
    server.emplace(path(""));
    settings.environment["XDG_RUNTIME_DIR"] = server->runtime_folder();
}

void qz_play_test::slow_down_scans()
{
    settings.environment["LD_PRELOAD"] = QZ_BLOCKED_SCAN;
    settings.environment["ASAN_OPTIONS"] = "verify_asan_link_order=0";
}

void qz_play_test::end_at_once(const program& player)
{
    player.send(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // Two at once are one request.
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

std::string qz_play_test::make_variable_track() const
{
    sound variable{"variable.mp3"};
    variable.effects = {"synth", "10", "whitenoise", "vol", "0.5", "pad", "10", "0"};
    variable.encoding = {"-t", "-V", "4"};
    return make_track(variable);
}

std::string qz_play_test::make_link(const std::string& name) const
{
    if (!fs::exists(path("link.mp3"))) {
        make_track({"link.mp3"});
    }
    fs::create_hard_link(path("link.mp3"), path(name));
    return path(name);
}

std::string qz_play_test::make_pipe(const std::string& name) const
{
    EXPECT_EQ(mkfifo(path(name).c_str(), 0600), 0);
    return path(name);
}

program qz_play_test::make_endless_track(const std::string& name) const
{
    const std::string track = make_track(
        {"part.mp3", "5", "44100", "2", {"synth", "5", "sine", "440"}, {"-b", "128", "-t"}});
    const std::string pipe = make_pipe(name);
    return {{"sh", "-c", R"(while cat "$1"; do :; done > "$2")", "sh", track, pipe}, {}};
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
