/// \file
/// \brief A terminal that hands over each key at once and shows none.
#pragma once

#include <mutex>

#include <termios.h>

/// Whatever ends the process, the terminal gets its former mode back: by `close`, after a crash, or by
/// `restore_terminal`.
class raw_terminal
{
public:
    /// Takes the mode that the terminal at `descriptor` has now as the one to restore.
    explicit raw_terminal(int descriptor);
    raw_terminal(const raw_terminal&) = delete;
    raw_terminal& operator=(const raw_terminal&) = delete;

    /// Enters the raw mode, unless another job has the terminal.
    void enter();

    /// Restores the former mode, unless another job has the terminal.
    void leave();

    /// Leaves for good.
    void close();

    [[nodiscard]] bool closed();

private:
    const int descriptor_;
    std::mutex mutex_;
    termios raw_;
    bool closed_ = false;
};

/// Restores the mode of the terminal that is raw, if one is. May be called in a signal handler.
void restore_terminal();

/// Returns whether no other job is in the foreground of the terminal at `descriptor`.
bool is_in_foreground(int descriptor);
