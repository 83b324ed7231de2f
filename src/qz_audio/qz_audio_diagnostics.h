/// \file
/// \brief The library's diagnostic lines on standard output.
#pragma once

#include <string>

/// Writes `text` and a newline in one call, so that the lines of several threads never mix, and flushes.
/// Never throws: a line that cannot be written is lost.
void write_diagnostic(const std::string& text) noexcept;

/// Writes `text` as a line that opens with the warning banner.
void write_warning(const std::string& text);

/// Writes `text` as a line that opens with the error banner.
void write_error(const std::string& text);

/// Returns `name` in magenta, the colour of names in diagnostic lines.
std::string in_magenta(const std::string& name);
