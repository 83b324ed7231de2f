#include "terminal/status_line.h"

#include "terminal/text.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace
{

constexpr std::size_t least_name = 8;
constexpr std::size_t least_bar = 8;
constexpr std::size_t widest_bar = 30;

std::wstring two_digits(unsigned long number)
{
    return (number < 10 ? L"0" : L"") + std::to_wstring(number);
}

std::wstring one_of(const wchar_t* sign, const wchar_t* plain)
{
    return text::writable(sign) ? sign : plain;
}

std::wstring sign_of(play_state state)
{
    switch (state) {
    case play_state::playing:
        return one_of(L"▶", L">");
    case play_state::paused:
        return one_of(L"‖", L"=");
    case play_state::stopped:
        return one_of(L"■", L"#");
    }
    return L"";
}

std::wstring times(const snapshot& told, snapshot::seconds position)
{
    return clock_text(position) + (told.length ? L" / " + clock_text(*told.length) : L"");
}

std::wstring volume(const snapshot& told)
{
    return told.muted ? L"muted" : std::to_wstring(told.volume) + L" %";
}

std::wstring modes(const snapshot& told)
{
    std::wstring all = told.shuffle ? L"  shuffled" : L"";
    switch (told.loop) {
    case loop_mode::none:
        return all;
    case loop_mode::track:
        return all + L"  repeat";
    case loop_mode::list:
        return all + L"  repeat all";
    }
    return all;
}

/// With brackets, `columns` wide.
std::wstring bar(double part, std::size_t columns)
{
    const std::size_t inner = columns - 2;
    const auto done = static_cast<std::size_t>(std::lround(part * static_cast<double>(inner)));
    return L"[" + std::wstring(done, L'=') + std::wstring(inner - done, L'-') + L"]";
}

/// Returns how wide the bar is where `room` columns are left for it and the name; 0 for none.
std::size_t bar_columns(std::size_t room, std::size_t name)
{
    const std::size_t left = room - std::min(room, std::min(name, 2 * room / 3) + 2);
    return left < least_bar ? 0 : std::min(left, widest_bar);
}

} // namespace

std::wstring name_of_track(const snapshot& told)
{
    if (told.title.empty()) {
        return text::from_locale(std::filesystem::path(told.path).filename());
    }
    const std::wstring artist = text::from_utf8(told.artist);
    return (artist.empty() ? L"" : artist + L" - ") + text::from_utf8(told.title);
}

std::wstring status_line(const snapshot& told, snapshot::clock::time_point now, std::size_t columns)
{
    const snapshot::seconds position = told.position_at(now);
    const std::wstring sign = sign_of(told.state) + L" ";
    const std::wstring rest = times(told, position) + L"  " + volume(told) + modes(told);
    const std::size_t fixed = text::width(sign) + text::width(rest) + 2;
    const std::size_t room = columns - std::min(columns, fixed);
    if (room < least_name) {
        return text::cut(sign + rest, columns);
    }
    const std::wstring name = name_of_track(told);
    const bool measured = told.length && *told.length > snapshot::seconds::zero();
    const std::size_t bar_width = measured ? bar_columns(room, text::width(name)) : 0;
    if (bar_width == 0) {
        return sign + text::cut(name, room) + L"  " + rest;
    }
    return sign + text::cut(name, room - bar_width - 2) + L"  " +
           bar(position / *told.length, bar_width) + L"  " + rest;
}

std::wstring clock_text(snapshot::seconds time)
{
    const auto whole = static_cast<unsigned long>(time.count());
    const std::wstring rest = L":" + two_digits(whole % 60);
    const unsigned long minutes = whole / 60;
    return minutes < 60 ? std::to_wstring(minutes) + rest
                        : std::to_wstring(minutes / 60) + L":" + two_digits(minutes % 60) + rest;
}
