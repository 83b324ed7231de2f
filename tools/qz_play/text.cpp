#include "text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <cwchar>
#include <iterator>

#include <utf8.h>

namespace
{

constexpr wchar_t unknown = L'?';
constexpr std::uint32_t replacement = 0xfffd;

/// Returns the code points of `utf8`, with `mark` in place of each invalid sequence.
std::u32string code_points(const std::string& utf8, std::uint32_t mark)
{
    std::string valid;
    utf8::replace_invalid(utf8.begin(), utf8.end(), std::back_inserter(valid), mark);
    std::u32string all;
    utf8::utf8to32(valid.begin(), valid.end(), std::back_inserter(all));
    return all;
}

bool is_allowed_on_bus(std::uint32_t code_point)
{
    const bool is_noncharacter =
        (code_point >= 0xfdd0 && code_point <= 0xfdef) || (code_point & 0xfffeU) == 0xfffeU;
    return code_point != 0 && !is_noncharacter;
}

/// Replaces control characters: they would move the cursor.
wchar_t printable(wchar_t character)
{
    return wcwidth(character) >= 0 ? character : unknown;
}

std::size_t columns_of(wchar_t character)
{
    return static_cast<std::size_t>(std::max(wcwidth(character), 0));
}

/// Returns the character in the locale's encoding, or an empty text if the encoding does not contain it. Terminal
/// encodings have no shift states.
std::string bytes_of(wchar_t character)
{
    std::array<char, MB_LEN_MAX> bytes{};
    std::mbstate_t state{};
    // NOLINTNEXTLINE(concurrency-mt-unsafe): `state` is local.
    const std::size_t length = std::wcrtomb(bytes.data(), character, &state);
    return length <= bytes.size() ? std::string(bytes.data(), length) : "";
}

/// Returns the longest prefix that is at most `columns` wide.
std::wstring beginning(const std::wstring& wide, std::size_t columns)
{
    std::size_t end = 0;
    std::size_t taken = 0;
    while (end < wide.size() && taken + columns_of(wide[end]) <= columns) {
        taken += columns_of(wide[end++]);
    }
    return wide.substr(0, end);
}

} // namespace

std::string text::valid_utf8(const std::string& bytes)
{
    std::string allowed;
    for (const std::uint32_t code_point : code_points(bytes, replacement)) {
        utf8::append(is_allowed_on_bus(code_point) ? code_point : replacement,
                     std::back_inserter(allowed));
    }
    return allowed;
}

std::wstring text::from_utf8(const std::string& utf8)
{
    std::wstring wide;
    for (const std::uint32_t code_point : code_points(utf8, U'?')) {
        wide += printable(static_cast<wchar_t>(code_point));
    }
    return wide;
}

std::wstring text::from_locale(const std::string& bytes)
{
    std::wstring wide;
    std::mbstate_t state{};
    for (std::size_t at = 0; at < bytes.size();) {
        wchar_t character = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): `state` is local.
        const std::size_t length = std::mbrtowc(&character, &bytes[at], bytes.size() - at, &state);
        const bool valid = length > 0 && length <= bytes.size() - at;
        wide += valid ? printable(character) : unknown;
        at += valid ? length : 1;
        state = valid ? state : std::mbstate_t{};
    }
    return wide;
}

std::string text::to_locale(std::wstring_view wide)
{
    std::string bytes;
    for (const wchar_t character : wide) {
        const std::string one = bytes_of(character);
        bytes += one.empty() ? "?" : one;
    }
    return bytes;
}

bool text::is_encodable(std::wstring_view wide)
{
    return std::none_of(wide.begin(), wide.end(),
                        [](wchar_t character) { return bytes_of(character).empty(); });
}

std::size_t text::width(std::wstring_view wide)
{
    std::size_t columns = 0;
    for (const wchar_t character : wide) {
        columns += columns_of(character);
    }
    return columns;
}

std::wstring text::truncate(const std::wstring& wide, std::size_t columns)
{
    if (width(wide) <= columns) {
        return wide;
    }
    const std::wstring end = is_encodable(L"…") ? L"…" : L"...";
    return end.size() < columns ? beginning(wide, columns - end.size()) + end
                                : beginning(wide, columns);
}
