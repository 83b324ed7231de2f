/// \file
/// \brief Text that may go over the bus.
#pragma once

#include <string>

/// Returns `text` with U+FFFD for each stretch that is no UTF-8, and for each code point that the bus does
/// not let pass: tags and file names hold any bytes, and a message with a wrong one cannot be sent.
std::string bus_text(const std::string& text);
