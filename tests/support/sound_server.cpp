#include "sound_server.h"

#include "event.h"

#include <gtest/gtest.h>

#include <csignal>

namespace fs = std::filesystem;

namespace
{

std::string make_private_folder(const fs::path& folder)
{
    fs::create_directory(folder);
    fs::permissions(folder, fs::perms::owner_all);
    return folder;
}

program_settings settings_for(const std::string& runtime_folder)
{
    program_settings settings;
    settings.environment["XDG_RUNTIME_DIR"] = runtime_folder;
    settings.environment["PULSE_SERVER"] = std::nullopt;
    settings.environment["HOME"] = runtime_folder;
    return settings;
}

const std::vector<std::string> server_command{"pulseaudio",
                                              "--daemonize=no",
                                              "--exit-idle-time=-1",
                                              "-n",
                                              "-L",
                                              "module-null-sink sink_name=null",
                                              "-L",
                                              "module-native-protocol-unix"};

} // namespace

sound_server::sound_server(const fs::path& folder)
    : runtime_folder_(make_private_folder(folder / "runtime")),
      server_(server_command, settings_for(runtime_folder_))
{
    const auto answers = [this] {
        return program({"pactl", "info"}, client_settings()).wait_for_exit() == 0;
    };
    EXPECT_TRUE(wait_until(answers)) << "PulseAudio does not start";
}

std::vector<std::string> sound_server::recorder()
{
    return {"parec",        "-d",           "null.monitor",     "--format=s16le",
            "--rate=44100", "--channels=1", "--latency-msec=20"};
}

program_settings sound_server::client_settings() const
{
    return settings_for(runtime_folder_);
}

void sound_server::halt() const
{
    server_.send(SIGSTOP);
}

void sound_server::go_on() const
{
    server_.send(SIGCONT);
}
