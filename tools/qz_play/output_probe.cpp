#include "output_probe.h"

#include <out123.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

using strings = std::vector<std::string>;

constexpr auto module_folder_variable = "MPG123_MODDIR";
constexpr auto pulse_module = "output_pulse.so";
constexpr auto alsa_module = "output_alsa.so";

/// The buffer for which libout123 asks ALSA.
constexpr std::chrono::duration<double> alsa_buffer{0.2};

std::optional<std::string> environment_variable(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

bool file_exists(const fs::path& file)
{
    std::error_code ignored;
    return fs::exists(file, ignored);
}

template <class Predicate>
bool any_file_in(const fs::path& folder, Predicate predicate)
{
    std::error_code ignored;
    const fs::directory_iterator files(folder, ignored);
    return std::any_of(begin(files), end(files), predicate);
}

/// A connection takes microseconds and starts no server. Unlike libpulse, this ignores the client configuration and
/// the properties of the X11 server; a user of these can set PULSE_SERVER.
bool socket_answers(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    const int connection = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (connection < 0) {
        return false;
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): `connect` takes addresses of all kinds this way.
    const auto* any_address = reinterpret_cast<const sockaddr*>(&address);
    const bool answers = connect(connection, any_address, sizeof address) == 0;
    close(connection);
    return answers;
}

/// `server` is an entry of PULSE_SERVER, for example "{machine}unix:/path". A network server is assumed to answer.
bool named_server_answers(std::string server)
{
    if (server.front() == '{') {
        server.erase(0, server.find('}') + 1);
    }
    if (server.rfind("unix:", 0) == 0) {
        server.erase(0, std::strlen("unix:"));
    }
    return server.empty() || server.front() != '/' || socket_answers(server);
}

/// Without XDG_RUNTIME_DIR, a user's server links its folder in ~/.config/pulse, under the machine's ID.
strings default_sockets()
{
    strings sockets{"/var/run/pulse/native"};
    if (const auto folder = environment_variable("PULSE_RUNTIME_PATH")) {
        sockets.push_back(*folder + "/native");
    } else if (const auto runtime = environment_variable("XDG_RUNTIME_DIR")) {
        sockets.push_back(*runtime + "/pulse/native");
    } else if (const auto home = environment_variable("HOME")) {
        std::error_code ignored;
        for (const auto& entry : fs::directory_iterator(*home + "/.config/pulse", ignored)) {
            sockets.push_back(entry.path() / "native");
        }
    }
    return sockets;
}

bool pulse_server_answers()
{
    if (const auto servers = environment_variable("PULSE_SERVER")) {
        std::istringstream list(*servers);
        using entries = std::istream_iterator<std::string>;
        return std::any_of(entries(list), entries(), named_server_answers);
    }
    const strings sockets = default_sockets();
    return std::any_of(sockets.begin(), sockets.end(), socket_answers);
}

/// The kernel names playback devices pcmC<card>D<device>p.
bool is_playback_device(const fs::path& file)
{
    const std::string name = file.filename();
    return name.rfind("pcmC", 0) == 0 && name.back() == 'p';
}

bool sets_default_device(const fs::path& file)
{
    std::ifstream stream(file);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return file.extension() == ".conf" && text.find("pcm.!default") != std::string::npos;
}

/// Returns whether there is a sound card or a configured default device.
bool alsa_device_exists()
{
    const fs::path home = environment_variable("HOME").value_or("/");
    const fs::path config = environment_variable("XDG_CONFIG_HOME").value_or(home / ".config");
    return environment_variable("ALSA_CONFIG_PATH") ||
           any_file_in("/dev/snd", is_playback_device) || file_exists("/etc/asound.conf") ||
           file_exists(home / ".asoundrc") || file_exists(config / "alsa/asoundrc") ||
           any_file_in("/etc/alsa/conf.d", sets_default_device);
}

/// Debian installs the modules in a subfolder of the library's folder.
fs::path default_folder()
{
    Dl_info library{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dladdr takes any address.
    dladdr(reinterpret_cast<const void*>(&out123_new), &library);
    return fs::path(library.dli_fname).parent_path() / "mpg123";
}

/// Returns the folders that libout123 would search, in its order.
std::vector<fs::path> module_folders(const options& opts)
{
    if (const auto folder = environment_variable(module_folder_variable)) {
        return {*folder};
    }
    std::vector<fs::path> folders;
    if (opts.bin_path) {
        const fs::path bin = *opts.bin_path;
        folders = {bin, bin / "../lib/mpg123", bin / "plugins"};
    }
    folders.push_back(default_folder());
    return folders;
}

/// Links the `modules` that exist in `source` into `target`. Returns whether there is one.
bool link_modules(const strings& modules, const fs::path& source, const fs::path& target)
{
    bool linked = false;
    for (const std::string& module : modules) {
        if (file_exists(source / module)) {
            fs::create_symlink(fs::absolute(source / module), target / module);
            linked = true;
        }
    }
    return linked;
}

/// Sets a short latency, because a pause waits until the buffer is played and a stop discards it. Sets the program's
/// name with OVERRIDE, because libout123's module would replace it otherwise.
void set_pulse_defaults()
{
    const auto name = environment_variable("PULSE_PROP_application.name").value_or("qz_play");
    const std::pair<const char*, const char*> defaults[] = {
        {"PULSE_LATENCY_MSEC", "30"},
        {"PULSE_PROP_OVERRIDE_application.name", name.c_str()},
        {"PULSE_PROP_media.role", "music"}};
    for (const auto& [variable, value] : defaults) {
        setenv(variable, value, 0); // NOLINT(concurrency-mt-unsafe)
    }
}

strings working_modules()
{
    strings modules;
    if (pulse_server_answers()) {
        modules.emplace_back(pulse_module);
    }
    if (alsa_device_exists()) {
        modules.emplace_back(alsa_module);
    }
    return modules;
}

} // namespace

temp_folder::temp_folder()
{
    const auto tmpdir = environment_variable("TMPDIR").value_or("");
    const fs::path parent = tmpdir.empty() ? "/tmp" : tmpdir;
    std::string name = fs::absolute(parent) / "qz_play-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot create a folder in " + parent.string());
    }
    path_ = name;
}

void temp_folder::remove() noexcept
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

output_choice choose_output(const options& opts, const temp_folder& folder)
{
    set_pulse_defaults();
    const strings modules = opts.wav ? strings{alsa_module} : working_modules();
    const std::vector<fs::path> sources = module_folders(opts);
    const bool plays_on_pulse =
        !modules.empty() && modules.front() == pulse_module &&
        std::any_of(sources.begin(), sources.end(),
                    [](const fs::path& source) { return file_exists(source / pulse_module); });
    output_choice choice{"", plays_on_pulse ? std::chrono::duration<double>(0) : alsa_buffer};
    if (environment_variable(module_folder_variable) && !opts.wav) {
        return choice;
    }
    const bool linked = std::any_of(sources.begin(), sources.end(), [&](const fs::path& source) {
        return link_modules(modules, source, folder.path());
    });
    setenv(module_folder_variable, folder.path().c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    if (modules.empty()) {
        choice.problem =
            "no sound output: no PulseAudio server answers and ALSA has no sound card; "
            "use --wav FILE to write the sound to a file";
    } else if (!linked) {
        choice.problem = "no output modules of libout123 in " + sources.back().string() +
                         "; install the Debian package mpg123";
    }
    return choice;
}
