/// \file
/// \brief For tests of what runs on the loop: a terminal whose other end is the test's.
#pragma once

#include "event_loop.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <unistd.h>

/// Runs the loop until `condition` is met; returns whether it was.
inline bool run_until(event_loop& loop, const std::function<bool()>& condition)
{
    const auto deadline = event_loop::clock::now() + std::chrono::seconds(20);
    while (!condition() && event_loop::clock::now() < deadline) {
        sd_event_run(loop.handle(), 10'000);
    }
    return condition();
}

/// Returns what can be read without waiting.
inline std::string read_available(int descriptor)
{
    std::string all;
    std::array<char, 4096> bytes{};
    fcntl(descriptor, F_SETFL, O_NONBLOCK);
    for (ssize_t count = 0; (count = read(descriptor, bytes.data(), bytes.size())) > 0;) {
        all.append(bytes.data(), static_cast<std::size_t>(count));
    }
    return all;
}

class pseudo_terminal
{
public:
    explicit pseudo_terminal(unsigned short columns = 80)
    {
        const winsize size{24, columns, 0, 0};
        EXPECT_EQ(openpty(&master_, &slave_, nullptr, nullptr, &size), 0);
    }
    ~pseudo_terminal()
    {
        hang_up();
        close(slave_);
    }
    pseudo_terminal(const pseudo_terminal&) = delete;
    pseudo_terminal& operator=(const pseudo_terminal&) = delete;

    [[nodiscard]] int descriptor() const { return slave_; }

    void type(const std::string& keys) const
    {
        EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    /// Returns what has been written and not been shown yet.
    [[nodiscard]] std::string shown() const { return read_available(master_); }

    [[nodiscard]] bool is_raw() const
    {
        termios mode{};
        tcgetattr(slave_, &mode);
        return (mode.c_lflag & (ICANON | ECHO)) == 0;
    }

    void hang_up()
    {
        if (master_ >= 0) {
            close(master_);
        }
        master_ = -1;
    }

private:
    int master_ = -1;
    int slave_ = -1;
};
