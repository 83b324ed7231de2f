/// \file
/// \brief Parses the keys that a terminal sends, and maps them to commands.
#pragma once

#include "commands.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A printable ASCII character, or one of these.
enum class key : char { up = 1, down, right, left, enter = '\n' };

/// Splits a terminal's input into keys. Ignores everything that is not a `key`: other escape sequences, keys with
/// Alt, control characters, and non-ASCII letters.
class key_parser
{
public:
    std::vector<key> feed(std::string_view bytes);

    /// Returns whether an escape sequence has begun but not ended. The Escape key alone causes this too.
    [[nodiscard]] bool has_partial_sequence() const { return state_ != state::ground; }

    /// Discards a partial sequence.
    void reset() { state_ = state::ground; }

private:
    enum class state { ground, escape, sequence, parameters, string };

    std::optional<key> next(char byte);

    state state_ = state::ground;
};

/// Maps keys to commands. A number and Enter jump to that track. 0 and 9 change the volume unless they follow
/// another digit or a "#".
class keymap
{
public:
    /// Returns the command that `pressed` triggers, if any.
    std::optional<user_command> press(key pressed);

    /// Returns the number that is being typed, or an empty text.
    [[nodiscard]] const std::string& number() const { return number_; }
    void clear_number() { number_.clear(); }

private:
    std::string number_;
};

/// Returns the help text for all keys, as lines.
std::vector<std::string> key_help();
