/// \file
/// \brief What the user sees, on standard error.
#pragma once

#include <string>

/// Whole lines, and on a terminal, below them, a live line that is drawn again and again.
class display
{
public:
    display();
    ~display();

    display(const display&) = delete;
    display& operator=(const display&) = delete;

    /// Writes a line in the live line's place. Control characters, which a file's name may hold, become question marks.
    void line(const std::string& text);

    /// Writes a line that says what went wrong.
    void error(const std::string& sentence);

    [[nodiscard]] bool has_live_line() const { return terminal_; }

    /// Replaces the live line.
    void live(const std::string& text);

private:
    const bool terminal_;
    std::string live_;
};
