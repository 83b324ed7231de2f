#include "file_uri.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace
{

using namespace std::string_view_literals;

constexpr auto scheme = "file://"sv;
constexpr auto this_machine = "localhost"sv;
constexpr auto letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"sv;

/// Does not depend on the locale, unlike the function in <cctype>.
char to_lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool is_letter_or_one_of(char byte, std::string_view others)
{
    return letters.find(byte) != std::string_view::npos ||
           others.find(byte) != std::string_view::npos;
}

/// Decodes the two digits after a percent sign. Rejects zero, which no path contains.
std::optional<char> unescaped(std::string_view digits)
{
    unsigned char value = 0;
    const char* end = digits.data() + digits.size();
    const auto [read, error] = std::from_chars(digits.data(), end, value, 16);
    const bool valid = digits.size() == 2 && read == end && error == std::errc() && value != 0;
    return valid ? std::optional<char>(static_cast<char>(value)) : std::nullopt;
}

/// Removes the prefix, ignoring case. `prefix` must be in lower case. Returns whether it was there.
bool remove_prefix(std::string_view& text, std::string_view prefix)
{
    const auto same = [](char one, char other) { return to_lower(one) == other; };
    const std::string_view start = text.substr(0, prefix.size());
    if (!std::equal(start.begin(), start.end(), prefix.begin(), prefix.end(), same)) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

} // namespace

std::string file_uri(const std::string& path)
{
    std::error_code ignored;
    constexpr auto digits = "0123456789ABCDEF"sv;
    std::string uri(scheme);
    for (const char byte : std::filesystem::absolute(path, ignored).string()) {
        if (is_letter_or_one_of(byte, "0123456789-._~/")) {
            uri += byte;
        } else {
            const auto value = static_cast<unsigned char>(byte);
            uri += {'%', digits[value / digits.size()], digits[value % digits.size()]};
        }
    }
    return uri;
}

std::optional<std::string> path_of_file_uri(const std::string& uri)
{
    std::string_view unread = uri;
    if (!remove_prefix(unread, scheme)) {
        return std::nullopt;
    }
    remove_prefix(unread, this_machine);
    if (unread.empty() || unread.front() != '/') {
        return std::nullopt;
    }
    std::string path;
    while (!unread.empty()) {
        const bool is_escape = unread.front() == '%';
        const std::optional<char> byte =
            is_escape ? unescaped(unread.substr(1, 2)) : unread.front();
        if (!byte) {
            return std::nullopt;
        }
        path += *byte;
        unread.remove_prefix(is_escape ? 3 : 1);
    }
    return path;
}

bool is_remote_uri(const std::string& name)
{
    const auto in_scheme = [](char byte) { return is_letter_or_one_of(byte, "0123456789+-."); };
    const auto scheme_end = std::find_if_not(name.begin(), name.end(), in_scheme);
    return !name.empty() && is_letter_or_one_of(name.front(), "") &&
           name.compare(static_cast<std::size_t>(scheme_end - name.begin()), 3, "://") == 0 &&
           !path_of_file_uri(name);
}
