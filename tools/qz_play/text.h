/// \file
/// \brief Converts text between the encodings of tags, of the session bus and of the terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text for the terminal is composed in wide characters. A question mark replaces each character that cannot be shown.
namespace text
{

/// Returns `bytes` with U+FFFD in place of invalid sequences, U+0000 and noncharacters, because D-Bus rejects these.
std::string valid_utf8(const std::string& bytes);

/// Converts UTF-8, for example from a tag.
std::wstring from_utf8(const std::string& utf8);

/// Converts text in the locale's encoding, for example a path.
std::wstring from_locale(const std::string& bytes);

/// Returns `wide` in the locale's encoding.
std::string to_locale(std::wstring_view wide);

/// Returns whether the locale's encoding has all these characters.
bool is_encodable(std::wstring_view wide);

/// Returns the width in terminal columns.
std::size_t width(std::wstring_view wide);

/// Returns `wide`, shortened with an ellipsis if it is wider than `columns`.
std::wstring truncate(const std::wstring& wide, std::size_t columns);

} // namespace text
