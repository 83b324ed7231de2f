/// \file
/// \brief What the user sees, on standard error.
#pragma once

#include "session/snapshot.h"
#include "terminal/terminfo.h"

#include <functional>
#include <optional>
#include <string>

/// Whole lines, and on a terminal, below them, a live line that is drawn again and again.
///
/// Writes to a descriptor of its own, so that the libraries' words on standard error can go elsewhere.
class display
{
public:
    enum class amount { errors, usual, all };

    explicit display(amount wanted);
    ~display();

    display(const display&) = delete;
    display& operator=(const display&) = delete;

    /// Writes a line in the live line's place. Control characters, which a file's name may hold, become
    /// question marks, and on a terminal all that cannot be shown.
    void line(const std::string& text);

    /// Writes a line that says what went wrong.
    void error(const std::string& sentence);

    /// Writes a line of what has happened, where the live line does not show it.
    void event(const std::string& text);

    /// Writes all that is known of a track.
    void tell(const snapshot& told);

    [[nodiscard]] bool has_live_line() const { return screen_.has_value(); }

    /// Shows in the live line what plays now.
    void live(const snapshot& told);

    /// Takes the live line away, till it is shown again.
    void clear_live();

    /// Returns what takes the live line away when the process is ended at once: from any thread, also when
    /// this object is no more.
    [[nodiscard]] std::function<void()> last_erasure() const;

private:
    [[nodiscard]] std::string painted(const std::string& line, play_state state) const;

    const int descriptor_;
    const amount amount_;
    const std::optional<screen_codes> screen_;
    std::string live_;
};
