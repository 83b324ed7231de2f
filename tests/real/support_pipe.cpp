#include "support_pipe.h"

#include "event.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

int open_pipe(const std::string& file)
{
    make_pipe(file);
    // With both ends our own, the pipe has no end when the device is closed and opened again, and
    // opening it waits for nobody.
    const int descriptor = open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), file);
    }
    return descriptor;
}

} // namespace

sound_pipe::sound_pipe(const std::string& file, int capacity) : descriptor_(open_pipe(file))
{
    if (fcntl(descriptor_, F_SETPIPE_SZ, capacity) < 0) {
        throw std::system_error(errno, std::generic_category(), file);
    }
}

sound_pipe::~sound_pipe()
{
    close(descriptor_);
}

bool sound_pipe::listens_until(const std::function<bool()>& enough)
{
    return wait_until([&] {
        reads_some();
        return enough();
    });
}

bool sound_pipe::listens_to(std::size_t bytes)
{
    const std::size_t wanted = heard_.size() + bytes;
    return listens_until([&] { return heard_.size() >= wanted; });
}

bool sound_pipe::is_full() const
{
    pollfd room{descriptor_, POLLOUT, 0};
    return poll(&room, 1, 0) == 0;
}

std::string sound_pipe::take()
{
    while (reads_some()) {
    }
    return std::exchange(heard_, {});
}

bool sound_pipe::reads_some()
{
    std::array<char, 65536> block{};
    const ssize_t size = read(descriptor_, block.data(), block.size());
    if (size <= 0) {
        return false;
    }
    heard_.append(block.data(), static_cast<std::size_t>(size));
    return true;
}

track_pipe::track_pipe(const std::string& file) : descriptor_(open_pipe(file)) {}

track_pipe::~track_pipe()
{
    close(descriptor_);
}

bool track_pipe::passes(const std::string& bytes)
{
    std::size_t passed = 0;
    return wait_until([&] {
        const ssize_t size = write(descriptor_, bytes.data() + passed, bytes.size() - passed);
        passed += size > 0 ? static_cast<std::size_t>(size) : 0;
        return passed == bytes.size() && is_empty();
    });
}

bool track_pipe::is_empty() const
{
    int waiting = 0;
    ioctl(descriptor_, FIONREAD, &waiting);
    return waiting == 0;
}

void make_pipe(const std::string& file)
{
    if (mkfifo(file.c_str(), S_IRUSR | S_IWUSR) != 0 && errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(), file);
    }
}
