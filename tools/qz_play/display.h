/// \file
/// \brief Prints messages and the status line on standard error.
#pragma once

#include "event_loop.h"
#include "snapshot.h"

#include <cstddef>
#include <optional>
#include <string>

enum class verbosity { quiet, normal, verbose };

/// Prints lines. On a terminal, redraws a status line below them.
///
/// No call blocks: text that standard error does not accept immediately is written later. If more than 64 KiB are
/// pending, further lines are dropped. Uses its own descriptor, so that standard error can be redirected.
class display
{
public:
    display(event_loop& loop, verbosity level);

    /// Erases the status line. Writes the pending text, for at most a second.
    ~display();

    display(const display&) = delete;
    display& operator=(const display&) = delete;

    /// Prints `text`, which is in the locale's encoding, and removes the status line. A question mark replaces each
    /// control character and, on a terminal, each character that cannot be shown.
    void print_line(const std::string& text);

    /// Prints an error message.
    void print_error(const std::string& message);

    /// Prints an event, unless the status line shows it.
    void print_event(const std::string& text);

    [[nodiscard]] bool has_status_line() const { return has_status_line_; }

    /// Shows the snapshot in the status line.
    void show_status(const snapshot& shown);

    /// Shows `text` in the status line for two seconds. An empty text removes the current notice. Without a status line,
    /// prints it as an event.
    void show_notice(const std::string& text);

    /// Removes the status line until the next call of `show_status` or `show_notice`.
    void clear_status_line();

    /// Erases the status line for the last time, unless that would block.
    void try_erase_status_line() const;

private:
    [[nodiscard]] std::string status_text() const;
    [[nodiscard]] std::string coloured(const std::string& line) const;
    void draw();
    void write_pending();
    bool refill_pending();
    bool write_chunk();

    const int descriptor_;
    const verbosity verbosity_;
    const bool has_status_line_;
    const bool has_colours_;
    std::optional<snapshot> status_; ///< What the status line shows, if anything.
    std::string notice_;
    std::string wanted_line_;
    std::string drawn_line_;
    std::string pending_;
    descriptor_watch writable_watch_;
    timer notice_timeout_;
};
