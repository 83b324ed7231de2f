#include "output/pulse_server.h"

#include "environment.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace fs = std::filesystem;

// A connect to the server's socket costs microseconds, starts no server, and needs no library: asking
// libpulse would only add what a client configuration file or the X11 server says, for which there is
// PULSE_SERVER.
namespace
{

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
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): addresses of all kinds pass so.
    const auto* any_address = reinterpret_cast<const sockaddr*>(&address);
    const bool answers = connect(connection, any_address, sizeof address) == 0;
    close(connection);
    return answers;
}

/// One entry of PULSE_SERVER: "{machine}" may stand before it, and "unix:" before a path. A server in
/// the network is taken at the user's word.
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

/// Without XDG_RUNTIME_DIR a user's server links its folder from the configuration folder, under the
/// machine's name.
std::vector<std::string> linked_sockets(const std::string& home)
{
    std::vector<std::string> sockets;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(home + "/.config/pulse", ignored)) {
        sockets.push_back(entry.path() / "native");
    }
    return sockets;
}

std::vector<std::string> default_sockets()
{
    std::vector<std::string> sockets;
    if (const auto folder = environment_variable("PULSE_RUNTIME_PATH")) {
        sockets.push_back(*folder + "/native");
    } else if (const auto runtime = environment_variable("XDG_RUNTIME_DIR")) {
        sockets.push_back(*runtime + "/pulse/native");
    } else if (const auto home = environment_variable("HOME")) {
        sockets = linked_sockets(*home);
    }
    sockets.emplace_back("/var/run/pulse/native");
    return sockets;
}

} // namespace

bool pulse_server_answers()
{
    if (const auto servers = environment_variable("PULSE_SERVER")) {
        std::istringstream list(*servers);
        using entries = std::istream_iterator<std::string>;
        return std::any_of(entries(list), entries(), named_server_answers);
    }
    const std::vector<std::string> sockets = default_sockets();
    return std::any_of(sockets.begin(), sockets.end(), socket_answers);
}
