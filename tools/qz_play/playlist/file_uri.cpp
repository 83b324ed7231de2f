#include "playlist/file_uri.h"

#include <charconv>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace
{

using namespace std::string_view_literals;

constexpr auto scheme = "file://"sv;
constexpr auto this_machine = "localhost"sv;

/// Independent of the locale, unlike std::isalnum.
bool stands_for_itself(char byte)
{
    constexpr auto unreserved =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/"sv;
    return unreserved.find(byte) != std::string_view::npos;
}

std::string escaped(char byte)
{
    constexpr auto digits = "0123456789ABCDEF"sv;
    const auto value = static_cast<unsigned char>(byte);
    return {'%', digits[value / digits.size()], digits[value % digits.size()]};
}

/// Takes the two digits behind a per cent sign. No path holds a zero byte.
std::optional<char> unescaped(std::string_view digits)
{
    unsigned char value = 0;
    const char* end = digits.data() + digits.size();
    const auto [read, error] = std::from_chars(digits.data(), end, value, 16);
    const bool valid = digits.size() == 2 && read == end && error == std::errc() && value != 0;
    return valid ? std::optional<char>(static_cast<char>(value)) : std::nullopt;
}

bool take_prefix(std::string_view& text, std::string_view prefix)
{
    const bool there = text.substr(0, prefix.size()) == prefix;
    if (there) {
        text.remove_prefix(prefix.size());
    }
    return there;
}

} // namespace

std::string file_uri(const std::string& path)
{
    std::error_code ignored;
    std::string uri(scheme);
    for (const char byte : std::filesystem::absolute(path, ignored).string()) {
        uri += stands_for_itself(byte) ? std::string(1, byte) : escaped(byte);
    }
    return uri;
}

std::optional<std::string> path_of_file_uri(const std::string& uri)
{
    std::string_view rest = uri;
    if (!take_prefix(rest, scheme)) {
        return std::nullopt;
    }
    take_prefix(rest, this_machine);
    if (rest.empty() || rest.front() != '/') {
        return std::nullopt;
    }
    std::string path;
    while (!rest.empty()) {
        const bool is_escape = rest.front() == '%';
        const std::optional<char> byte = is_escape ? unescaped(rest.substr(1, 2)) : rest.front();
        if (!byte) {
            return std::nullopt;
        }
        path += *byte;
        rest.remove_prefix(is_escape ? 3 : 1);
    }
    return path;
}

bool is_address(const std::string& name)
{
    constexpr auto letters = "abcdefghijklmnopqrstuvwxyz"sv;
    const std::size_t scheme_end = name.find("://");
    return scheme_end != std::string::npos && scheme_end > 0 &&
           name.find_first_not_of(letters) == scheme_end && !path_of_file_uri(name);
}
