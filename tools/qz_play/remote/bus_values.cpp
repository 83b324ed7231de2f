#include "remote/bus_values.h"

#include "playlist/file_uri.h"
#include "remote/bus_text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <tuple>
#include <utility>
#include <vector>

namespace
{

constexpr std::array<std::pair<loop_mode, const char*>, 3> loop_words{
    std::pair{loop_mode::none, "None"},
    {loop_mode::track, "Track"},
    {loop_mode::list, "Playlist"},
};

std::int64_t microseconds(snapshot::seconds time)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

sdbus::ObjectPath track_id(const snapshot& now)
{
    return {"/org/qz_audio/qz_play/track/" + std::to_string(now.number)};
}

/// What people know the track by.
std::string title_of(const snapshot& now)
{
    return now.title.empty() ? std::filesystem::path(now.path).stem().string() : now.title;
}

} // namespace

std::string playback_status(const snapshot& now)
{
    switch (now.state) {
    case play_state::playing:
        return "Playing";
    case play_state::paused:
        return "Paused";
    case play_state::stopped:
        break;
    }
    return "Stopped";
}

std::string loop_status(const snapshot& now)
{
    const auto* const found =
        std::find_if(loop_words.begin(), loop_words.end(),
                     [&](const auto& pair) { return pair.first == now.loop; });
    return found->second;
}

std::optional<loop_mode> loop_mode_called(const std::string& word)
{
    const auto* const found = std::find_if(loop_words.begin(), loop_words.end(),
                                           [&](const auto& pair) { return pair.second == word; });
    return found != loop_words.end() ? std::optional<loop_mode>(found->first) : std::nullopt;
}

double volume_part(const snapshot& now)
{
    return now.volume / 100.0;
}

int volume_percent(double part)
{
    return static_cast<int>(std::lround(100 * std::clamp(part, 0.0, 1.0)));
}

std::int64_t position_now(const snapshot& now)
{
    return microseconds(now.position_at(snapshot::clock::now()));
}

bool has_track(const snapshot& now)
{
    return !now.path.empty();
}

metadata_map metadata(const snapshot& now)
{
    if (!has_track(now)) {
        return {};
    }
    metadata_map map{{"mpris:trackid", sdbus::Variant(track_id(now))},
                     {"xesam:title", sdbus::Variant(bus_text(title_of(now)))},
                     {"xesam:url", sdbus::Variant(file_uri(now.path))}};
    if (!now.artist.empty()) {
        map["xesam:artist"] = sdbus::Variant(std::vector<std::string>{bus_text(now.artist)});
    }
    if (!now.album.empty()) {
        map["xesam:album"] = sdbus::Variant(bus_text(now.album));
    }
    if (now.length) {
        map["mpris:length"] = sdbus::Variant(microseconds(*now.length));
    }
    return map;
}

bool metadata_differs(const snapshot& one, const snapshot& other)
{
    const auto facts = [](const snapshot& now) {
        return std::tie(now.path, now.number, now.title, now.artist, now.album, now.length);
    };
    return facts(one) != facts(other);
}
