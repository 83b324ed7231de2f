/// \file
/// \brief Text as the terminal takes it: in the locale's encoding, some columns wide.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts are put together in wide characters; what cannot be shown is a question mark.
namespace text
{

/// Takes UTF-8, as of tags.
std::wstring from_utf8(const std::string& utf8);

/// Takes the locale's encoding, as of paths.
std::wstring from_locale(const std::string& bytes);

/// Returns it in the locale's encoding.
std::string to_locale(std::wstring_view wide);

/// Returns whether the locale can write it.
bool writable(std::wstring_view wide);

/// Returns how many columns it takes.
std::size_t width(std::wstring_view wide);

/// Returns as much as fits into so many columns, with an ellipsis in place of what does not.
std::wstring cut(const std::wstring& wide, std::size_t columns);

} // namespace text
