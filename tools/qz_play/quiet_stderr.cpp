#include "quiet_stderr.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <unistd.h>

namespace
{

constexpr std::size_t kept_size = 4096;
constexpr std::size_t pipe_size = 65536;
constexpr int crash_timeout_ms = 1000;

// Global, because the signal handler uses them.
int real_stderr = -1;
int pipe_read_end = -1; ///< Of the pipe that replaces standard error.
std::array<char, kept_size> kept{};
std::size_t kept_count = 0;
void (*clean_up_after_crash)() = nullptr;

/// Moves the pipe's contents into `kept`, where they replace the oldest bytes.
void drain()
{
    std::array<char, pipe_size> bytes{};
    const ssize_t count = read(pipe_read_end, bytes.data(), bytes.size());
    if (count <= 0) {
        return;
    }
    const char* end = bytes.data() + count;
    const std::size_t added = std::min(static_cast<std::size_t>(count), kept_size);
    const std::size_t remaining = std::min(kept_count, kept_size - added);
    std::memmove(kept.data(), kept.data() + (kept_count - remaining), remaining);
    std::memcpy(kept.data() + remaining, end - added, added);
    kept_count = remaining + added;
}

/// Writes to the real standard error. Gives up after a second without progress, so that the process can end.
void write_with_timeout(const char* bytes, std::size_t size)
{
    pollfd output{real_stderr, POLLOUT, 0};
    while (size > 0 && poll(&output, 1, crash_timeout_ms) > 0) {
        const ssize_t count = write(real_stderr, bytes, std::min<std::size_t>(size, PIPE_BUF));
        if (count <= 0) {
            return;
        }
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
}

/// SA_RESETHAND has restored the default action, so `raise` ends the process.
void on_crash(int signal)
{
    clean_up_after_crash();
    if (real_stderr >= 0) {
        drain();
        write_with_timeout("\n", isatty(real_stderr) != 0 ? 1 : 0); // keeps the status line
        write_with_timeout(kept.data(), kept_count);
    }
    raise(signal);
}

int checked(int result)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(),
                                "standard error cannot be redirected");
    }
    return result;
}

} // namespace

quiet_stderr::quiet_stderr(event_loop& loop)
{
    std::array<int, 2> ends{};
    checked(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK));
    pipe_read_end = ends[0];
    kept_count = 0;
    drain_.emplace(loop, pipe_read_end, EPOLLIN, drain);
    real_stderr = checked(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0));
    dup2(ends[1], STDERR_FILENO);
    close(ends[1]);
}

quiet_stderr::~quiet_stderr()
{
    drain_.reset();
    dup2(real_stderr, STDERR_FILENO);
    close(real_stderr);
    real_stderr = -1;
    close(pipe_read_end);
}

void handle_crashes(void (*clean_up)())
{
    clean_up_after_crash = clean_up;
    struct sigaction action {
    };
    action.sa_handler = on_crash;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) {
        sigaction(signal, &action, nullptr);
    }
}
