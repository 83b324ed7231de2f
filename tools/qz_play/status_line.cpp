#include "status_line.h"

#include "text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

namespace
{

constexpr std::size_t min_name = 8;
constexpr std::size_t min_bar = 8;
constexpr std::size_t max_bar = 30;

std::wstring two_digits(unsigned long number)
{
    return (number < 10 ? L"0" : L"") + std::to_wstring(number);
}

std::wstring state_sign(play_state state)
{
    const auto sign = [](const wchar_t* symbol, const wchar_t* ascii) {
        return text::is_encodable(symbol) ? symbol : ascii;
    };
    switch (state) {
    case play_state::playing:
        return sign(L"▶", L">");
    case play_state::paused:
        return sign(L"‖", L"=");
    case play_state::stopped:
        return sign(L"■", L"#");
    }
    return L"";
}

/// Returns artist and title. Without a title, returns the file's name.
std::wstring track_name(const snapshot& shown)
{
    if (shown.title.empty()) {
        return text::from_locale(std::filesystem::path(shown.path).filename());
    }
    const std::wstring artist = text::from_utf8(shown.artist);
    return (artist.empty() ? L"" : artist + L" - ") + text::from_utf8(shown.title);
}

std::wstring modes(const snapshot& shown)
{
    std::wstring all = shown.shuffle ? L"  shuffled" : L"";
    if (shown.loop != loop_mode::none) {
        all += shown.loop == loop_mode::track ? L"  repeat" : L"  repeat all";
    }
    return all;
}

/// Returns times, volume and modes.
std::wstring details(const snapshot& shown, snapshot::seconds position)
{
    const std::wstring length = shown.length ? L" / " + format_duration(*shown.length) : L"";
    const std::wstring volume = shown.muted ? L"muted" : std::to_wstring(shown.volume) + L" %";
    return format_duration(position) + length + L"  " + volume + modes(shown);
}

/// Returns a progress bar that is `columns` wide, brackets included.
std::wstring bar(double fraction, std::size_t columns)
{
    const std::size_t inner = columns - 2;
    const auto done = static_cast<std::size_t>(std::lround(fraction * static_cast<double>(inner)));
    return L"[" + std::wstring(done, L'=') + std::wstring(inner - done, L'-') + L"]";
}

/// Returns the width of the bar if it shares `space` columns with the name, or 0 if there is no space for it.
std::size_t bar_columns(std::size_t space, std::size_t name)
{
    const std::size_t left = space - std::min(space, std::min(name, 2 * space / 3) + 2);
    return left < min_bar ? 0 : std::min(left, max_bar);
}

} // namespace

std::wstring status_line(const snapshot& shown, snapshot::clock::time_point now,
                         std::size_t columns)
{
    const snapshot::seconds position = shown.position_at(now);
    const std::wstring sign = state_sign(shown.state) + L" ";
    const std::wstring end = details(shown, position);
    const std::size_t fixed = text::width(sign) + text::width(end) + 2;
    const std::size_t space = columns - std::min(columns, fixed);
    if (space < min_name) {
        return text::truncate(sign + end, columns);
    }
    const std::wstring name = track_name(shown);
    const bool measured = shown.length && *shown.length > snapshot::seconds::zero();
    const std::size_t bar_width = measured ? bar_columns(space, text::width(name)) : 0;
    if (bar_width == 0) {
        return sign + text::truncate(name, space) + L"  " + end;
    }
    return sign + text::truncate(name, space - bar_width - 2) + L"  " +
           bar(position / *shown.length, bar_width) + L"  " + end;
}

std::vector<std::string> info_lines(const snapshot& shown)
{
    const std::wstring numbers =
        std::to_wstring(shown.index + 1) + L" of " + std::to_wstring(shown.track_count);
    const std::pair<const char*, std::wstring> fields[] = {
        {"File:   ", text::from_locale(shown.path)},
        {"Title:  ", text::from_utf8(shown.title)},
        {"Artist: ", text::from_utf8(shown.artist)},
        {"Album:  ", text::from_utf8(shown.album)},
        {"Length: ", shown.length ? format_duration(*shown.length) : L""},
        {"Track:  ", numbers}};
    std::vector<std::string> lines;
    for (const auto& [name, value] : fields) {
        if (!value.empty()) {
            lines.push_back(name + text::to_locale(value));
        }
    }
    return lines;
}

std::wstring format_duration(snapshot::seconds time)
{
    const auto whole = static_cast<unsigned long>(time.count());
    const std::wstring seconds = L":" + two_digits(whole % 60);
    const unsigned long minutes = whole / 60;
    return minutes < 60 ? std::to_wstring(minutes) + seconds
                        : std::to_wstring(minutes / 60) + L":" + two_digits(minutes % 60) + seconds;
}
