#include "terminal.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <termios.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

/// A running job receives no signal when it comes into the foreground, so this is polled.
constexpr auto foreground_interval = 500ms;

/// The time within which all bytes of an escape sequence must arrive.
constexpr auto max_sequence_time = 50ms;

constexpr auto max_number_time = 2s;

// Global, because the signal handler uses them.
int raw_descriptor = -1;
termios former_mode{};
std::atomic<bool> is_raw{false};

/// Keeps the former mode that was found first: after SIGSTOP and SIGCONT the terminal may be in any mode.
void enter_raw_mode(int descriptor)
{
    if (!is_raw) {
        raw_descriptor = descriptor;
        is_raw = tcgetattr(descriptor, &former_mode) == 0;
    }
    termios raw = former_mode;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_iflag &= ~static_cast<tcflag_t>(IXON);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (is_raw) {
        tcsetattr(descriptor, TCSANOW, &raw);
    }
}

} // namespace

int reopen_terminal(int descriptor, int mode)
{
    const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
    const int own =
        isatty(descriptor) != 0 ? open(path.c_str(), mode | O_NONBLOCK | O_NOCTTY | O_CLOEXEC) : -1;
    return own >= 0 ? own : fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

bool is_in_foreground(int descriptor)
{
    const pid_t job = tcgetpgrp(descriptor);
    return job == -1 || job == getpgrp();
}

void restore_terminal()
{
    if (is_raw && is_in_foreground(raw_descriptor)) {
        tcsetattr(raw_descriptor, TCSANOW, &former_mode);
        is_raw = false;
    }
}

terminal::mode_restorer::~mode_restorer()
{
    restore_terminal();
    is_raw = false;
    close(descriptor);
}

terminal::terminal(event_loop& loop, int descriptor, command_handler perform,
                   number_handler show_number)
    : perform_(std::move(perform)),
      show_number_(std::move(show_number)), opened_{reopen_terminal(descriptor, O_RDONLY)},
      input_(loop, opened_.descriptor, EPOLLIN, [this] { read_keys(); }),
      foreground_check_(loop, [this] { acquire(); }),
      sequence_timeout_(loop, [this] { parser_.reset(); }), number_timeout_(loop, [this] {
          keymap_.clear_number();
          show_number_("");
      })
{
    acquire();
}

void terminal::release()
{
    restore_terminal();
    input_.enable(false);
    foreground_check_.cancel();
}

void terminal::acquire()
{
    const bool in_foreground = is_in_foreground(opened_.descriptor);
    input_.enable(open_ && in_foreground);
    foreground_check_.cancel();
    if (open_ && in_foreground) {
        enter_raw_mode(opened_.descriptor);
    } else if (open_) {
        foreground_check_.set(event_loop::clock::now() + foreground_interval);
    }
}

void terminal::read_keys()
{
    std::array<char, 64> bytes{};
    const ssize_t count = read(opened_.descriptor, bytes.data(), bytes.size());
    if (count <= 0) {
        open_ = count < 0 &&
                (errno == EINTR || errno == EAGAIN || !is_in_foreground(opened_.descriptor));
        acquire();
        return;
    }
    for (const key pressed : parser_.feed({bytes.data(), static_cast<std::size_t>(count)})) {
        press(pressed);
    }
    const auto deadline = event_loop::clock::now() + max_sequence_time;
    sequence_timeout_.set(parser_.has_partial_sequence() ? deadline
                                                         : event_loop::clock::time_point::max());
}

void terminal::press(key pressed)
{
    const std::string former = keymap_.number();
    const auto command = keymap_.press(pressed);
    const std::string& number = keymap_.number();
    if (number != former) {
        show_number_(number);
    }
    const auto deadline = event_loop::clock::now() + max_number_time;
    number_timeout_.set(number.empty() ? event_loop::clock::time_point::max() : deadline);
    if (command) {
        perform_(*command);
    }
}
