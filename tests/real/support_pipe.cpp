#include "support_pipe.h"

#include "event.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

int open_pipe(const std::string& file)
{
    mkfifo(file.c_str(), S_IRUSR | S_IWUSR);
    // With a writer of our own, the pipe has no end when the device is closed and opened again.
    return open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
}

} // namespace

sound_pipe::sound_pipe(const std::string& file, int capacity) : descriptor_(open_pipe(file))
{
    if (descriptor_ < 0 || fcntl(descriptor_, F_SETPIPE_SZ, capacity) < 0) {
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
