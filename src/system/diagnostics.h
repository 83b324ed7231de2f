/// \file
/// \brief Diagnostic lines on standard output.
#pragma once

#include <string>

/// Writes `text` and a newline in one call, so that the lines of several threads never mix, and flushes.
/// Never throws: a line that cannot be written is lost.
void print_line(const std::string& text) noexcept;

/// Writes `text` as a line that opens with the error banner.
void print_error(const std::string& text);

/// Reports the exception that is being handled. Call it inside a catch clause.
void report_current_exception() noexcept;
