/// \file
/// \brief What a terminal has to be sent, out of the terminfo database.
#pragma once

#include <optional>
#include <string>

struct screen_codes {
    std::string erase_line; ///< Goes to the line's beginning and clears it.
    std::string green;
    std::string yellow;
    std::string plain;
};

/// Returns the codes of the terminal at `descriptor`; nothing where there is none, or where it cannot clear
/// a line. Colours are empty where they are not known or not wanted.
std::optional<screen_codes> find_screen_codes(int descriptor);
