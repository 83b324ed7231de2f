#include "terminal/raw_terminal.h"

#include <array>
#include <atomic>
#include <csignal>

#include <unistd.h>

namespace
{

/// What a crash needs to know; a process has one terminal.
int raw_descriptor = -1;
termios former_mode{};
std::atomic<bool> is_raw{false};

constexpr std::array<int, 5> crashes{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};

/// The signal has its default action again, and ends the process right here.
void on_crash(int signal)
{
    restore_terminal();
    raise(signal);
}

void watch_crashes()
{
    struct sigaction action {
    };
    action.sa_handler = on_crash; // NOLINT(cppcoreguidelines-pro-type-union-access)
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal : crashes) {
        sigaction(signal, &action, nullptr);
    }
}

termios mode_of(int descriptor)
{
    termios mode{};
    tcgetattr(descriptor, &mode);
    return mode;
}

} // namespace

raw_terminal::raw_terminal(int descriptor) : descriptor_(descriptor), raw_(mode_of(descriptor))
{
    raw_descriptor = descriptor_;
    former_mode = raw_;
    raw_.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw_.c_iflag &= ~static_cast<tcflag_t>(IXON); // Ctrl-S would hold up whoever draws.
    raw_.c_cc[VMIN] = 1;
    raw_.c_cc[VTIME] = 0;
    watch_crashes();
}

void raw_terminal::enter()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!closed_ && is_in_foreground(descriptor_)) {
        is_raw = tcsetattr(descriptor_, TCSANOW, &raw_) == 0;
    }
}

void raw_terminal::leave()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (is_in_foreground(descriptor_)) {
        restore_terminal();
    }
    is_raw = false;
}

void raw_terminal::close()
{
    leave();
    const std::lock_guard<std::mutex> lock(mutex_);
    closed_ = true;
}

bool raw_terminal::closed()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return closed_;
}

void restore_terminal()
{
    if (is_raw) {
        tcsetattr(raw_descriptor, TCSANOW, &former_mode);
        is_raw = false;
    }
}

bool is_in_foreground(int descriptor)
{
    const pid_t job = tcgetpgrp(descriptor);
    return job == -1 || job == getpgrp();
}
