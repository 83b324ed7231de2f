#include "terminal/text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <cwchar>

#include <iconv.h>

namespace
{

constexpr wchar_t unknown = L'?';

/// Control characters, which a name may hold, would move the cursor.
wchar_t printable(wchar_t character)
{
    return wcwidth(character) >= 0 ? character : unknown;
}

std::size_t columns_of(wchar_t character)
{
    return static_cast<std::size_t>(std::max(wcwidth(character), 0));
}

std::wstring ellipsis()
{
    return text::writable(L"…") ? L"…" : L"...";
}

/// Returns the longest beginning that takes no more than `columns`.
std::wstring beginning(const std::wstring& wide, std::size_t columns)
{
    std::size_t end = 0;
    std::size_t taken = 0;
    while (end < wide.size() && taken + columns_of(wide[end]) <= columns) {
        taken += columns_of(wide[end++]);
    }
    return wide.substr(0, end);
}

class utf8_reader
{
public:
    utf8_reader() : state_(iconv_open("WCHAR_T", "UTF-8")) {}
    ~utf8_reader() { iconv_close(state_); }
    utf8_reader(const utf8_reader&) = delete;
    utf8_reader& operator=(const utf8_reader&) = delete;

    std::wstring read(std::string bytes)
    {
        std::wstring wide(bytes.size(), L'\0');
        char* from = bytes.data();
        std::size_t left = bytes.size();
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): iconv writes bytes.
        char* to = reinterpret_cast<char*>(wide.data());
        std::size_t room = wide.size() * sizeof(wchar_t);
        while (iconv(state_, &from, &left, &to, &room) == static_cast<std::size_t>(-1)) {
            std::memcpy(to, &unknown, sizeof unknown);
            to += sizeof unknown;
            room -= sizeof unknown;
            ++from;
            --left;
        }
        wide.resize(wide.size() - room / sizeof(wchar_t));
        return wide;
    }

private:
    iconv_t state_;
};

} // namespace

std::wstring text::from_utf8(const std::string& utf8)
{
    std::wstring wide = utf8_reader().read(utf8);
    std::transform(wide.begin(), wide.end(), wide.begin(), printable);
    return wide;
}

std::wstring text::from_locale(const std::string& bytes)
{
    std::wstring wide;
    std::mbstate_t state{};
    for (std::size_t at = 0; at < bytes.size();) {
        wchar_t character = 0;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): it has a state of its own.
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
    std::array<char, MB_LEN_MAX> one{};
    std::mbstate_t state{};
    for (const wchar_t character : wide) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): it has a state of its own.
        const std::size_t length = std::wcrtomb(one.data(), character, &state);
        if (length <= one.size()) {
            bytes.append(one.data(), length);
        } else {
            bytes += '?';
            state = {};
        }
    }
    return bytes;
}

bool text::writable(std::wstring_view wide)
{
    std::array<char, MB_LEN_MAX> one{};
    return std::all_of(wide.begin(), wide.end(), [&](wchar_t character) {
        std::mbstate_t state{};
        // NOLINTNEXTLINE(concurrency-mt-unsafe): it has a state of its own.
        return std::wcrtomb(one.data(), character, &state) <= one.size();
    });
}

std::size_t text::width(std::wstring_view wide)
{
    std::size_t columns = 0;
    for (const wchar_t character : wide) {
        columns += columns_of(character);
    }
    return columns;
}

std::wstring text::cut(const std::wstring& wide, std::size_t columns)
{
    if (width(wide) <= columns) {
        return wide;
    }
    const std::wstring end = ellipsis();
    return end.size() < columns ? beginning(wide, columns - end.size()) + end
                                : beginning(wide, columns);
}
