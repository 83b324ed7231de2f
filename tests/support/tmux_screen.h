/// \file
/// \brief A shell on a terminal, as a person uses it.
#pragma once

#include "program.h"

#include <string>

/// A tmux server of the test's own with one window: keys are pressed, and the screen is read.
class tmux_screen
{
public:
    /// Keeps its files in `folder`. The shell has job control, and the environment of `settings` besides the
    /// test's own. Other than bash, it leaves the terminal's mode to the programs that it runs.
    tmux_screen(const std::string& folder, const program_settings& settings);

    /// Ends the server, and what runs in its window with it.
    ~tmux_screen();

    tmux_screen(const tmux_screen&) = delete;
    tmux_screen& operator=(const tmux_screen&) = delete;

    /// Types the text as it stands.
    void type(const std::string& text) const;

    /// Presses a key by tmux's name for it, such as "Enter" or "C-z".
    void press(const std::string& key) const;

    /// Types a command to the shell.
    void enter(const std::string& command) const;

    void resize(unsigned columns) const;

    /// Closes the window, as its user does who still works in it.
    void close() const;

    [[nodiscard]] std::string text() const;

    /// Returns whether the arrows and the keypad send what they do at first.
    [[nodiscard]] bool sends_usual_keys() const;

    /// Returns whether `text` comes to stand on the screen.
    [[nodiscard]] bool shows(const std::string& text) const;

    /// Returns whether `text` comes to stand there no more.
    [[nodiscard]] bool loses(const std::string& text) const;

private:
    [[nodiscard]] std::vector<std::string> tmux(std::vector<std::string> arguments) const;
    [[nodiscard]] std::string answer(const std::vector<std::string>& question) const;

    std::string socket_;
};
