#include "remote/media_player.h"

#include "playlist/file_uri.h"
#include "remote/bus_values.h"

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <system_error>
#include <utility>

namespace
{

using sdbus::Flags;

constexpr auto application_interface = "org.mpris.MediaPlayer2";
constexpr auto player_interface = "org.mpris.MediaPlayer2.Player";

template <class Value>
auto difference_in(Value (*value)(const snapshot&))
{
    return
        [value](const snapshot& one, const snapshot& other) { return value(one) != value(other); };
}

/// Returns whether the position is another than who knows `before` expects. Of another track nobody expects
/// one.
bool jumps(const snapshot& before, const snapshot& now)
{
    constexpr snapshot::seconds negligible{0.5};
    const snapshot::seconds gap = now.position - before.position_at(now.taken);
    const bool same_track = now.path == before.path && now.number == before.number;
    return same_track && (gap > negligible || gap < -negligible);
}

sdbus::Error invalid(const std::string& sentence)
{
    return {"org.freedesktop.DBus.Error.InvalidArgs", sentence};
}

user_request loop_request(const std::string& word)
{
    const std::optional<loop_mode> mode = loop_mode_called(word);
    if (!mode) {
        throw invalid("LoopStatus is None, Track or Playlist.");
    }
    return request::set_loop{*mode};
}

user_request shuffle_request(const bool& on)
{
    return request::set_shuffle{on};
}

user_request volume_request(const double& part)
{
    if (std::isnan(part)) {
        throw invalid("Volume is a number from 0 to 1.");
    }
    return request::set_volume{volume_percent(part)};
}

user_request open_request(const std::string& uri)
{
    const std::optional<std::string> path = path_of_file_uri(uri);
    if (!path) {
        throw invalid("Only files of this machine can be opened, as in file:///folder/track.mp3.");
    }
    // Reading any other might not end.
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(*path, ignored)) {
        throw sdbus::Error("org.freedesktop.DBus.Error.FileNotFound", "There is no such file.");
    }
    return request::open{*path};
}

} // namespace

media_player::media_player(sdbus::IConnection& bus, std::shared_ptr<event_queue> requests,
                           snapshot now)
    : requests_(std::move(requests)), object_(sdbus::createObject(bus, "/org/mpris/MediaPlayer2")),
      shown_(std::move(now))
{
    add_application();
    add_methods();
    add_properties();
    add_settings();
    add_constants();
    object_->finishRegistration();
}

void media_player::show(const snapshot& now)
{
    const snapshot before = std::exchange(shown_, now);
    std::vector<std::string> changed;
    for (const property& each : properties_) {
        if (each.differs(before, now)) {
            changed.push_back(each.name);
        }
    }
    if (!changed.empty()) {
        object_->emitPropertiesChangedSignal(player_interface, changed);
    }
    if (jumps(before, now)) {
        object_->emitSignal("Seeked")
            .onInterface(player_interface)
            .withArguments(position_now(now));
    }
}

void media_player::add_application()
{
    const auto add = [this](const std::string& name, const auto& value) {
        add_constant(application_interface, name, value);
    };
    using strings = std::vector<std::string>;
    add("Identity", std::string("qz_play"));
    add("DesktopEntry", std::string("qz_play"));
    add("CanQuit", true);
    add("CanRaise", false);
    add("HasTrackList", false);
    add("SupportedUriSchemes", strings{"file"});
    add("SupportedMimeTypes",
        strings{"audio/mpeg", "audio/mp2", "audio/x-mp2", "audio/x-mp3", "audio/x-mpegurl"});
    add_request(application_interface, "Quit", request::quit{});
    object_->registerMethod("Raise").onInterface(application_interface).implementedAs([] {});
}

void media_player::add_methods()
{
    add_request(player_interface, "Next", request::next{});
    add_request(player_interface, "Previous", request::previous{});
    add_request(player_interface, "Play", request::play{});
    add_request(player_interface, "Pause", request::pause{});
    add_request(player_interface, "PlayPause", request::toggle_pause{});
    add_request(player_interface, "Stop", request::stop{});
    object_->registerMethod("OpenUri")
        .onInterface(player_interface)
        .withInputParamNames("Uri")
        .implementedAs([this](const std::string& uri) { ask(open_request(uri)); });

    // There is no seeking: what CanSeek says, and what is asked nevertheless has no effect.
    object_->registerMethod("Seek")
        .onInterface(player_interface)
        .withInputParamNames("Offset")
        .implementedAs([](const std::int64_t&) {});
    object_->registerMethod("SetPosition")
        .onInterface(player_interface)
        .withInputParamNames("TrackId", "Position")
        .implementedAs([](const sdbus::ObjectPath&, const std::int64_t&) {});
    object_->registerSignal("Seeked")
        .onInterface(player_interface)
        .withParameters<std::int64_t>("Position");
}

void media_player::add_properties()
{
    add_property("PlaybackStatus", playback_status);
    add_property("Metadata", metadata, metadata_differs);
    add_property("CanPlay", has_track);
    add_property("CanPause", has_track);
    add_property<bool>("CanGoNext", [](const snapshot& now) { return now.can_next; });
    add_property<bool>("CanGoPrevious", [](const snapshot& now) { return now.can_previous; });
    object_->registerProperty("Position")
        .onInterface(player_interface)
        .withGetter([this] { return position_now(shown_); })
        .withUpdateBehavior(Flags::EMITS_NO_SIGNAL);
}

void media_player::add_settings()
{
    add_setting("LoopStatus", loop_status, loop_request);
    add_setting("Volume", volume_part, volume_request);
    add_setting<bool>(
        "Shuffle", [](const snapshot& now) { return now.shuffle; }, shuffle_request);
    object_->registerProperty("Rate")
        .onInterface(player_interface)
        .withGetter([] { return 1.0; })
        .withSetter([](const double&) {}); // There is no other rate to take.
}

void media_player::add_constants()
{
    add_constant(player_interface, "MinimumRate", 1.0);
    add_constant(player_interface, "MaximumRate", 1.0);
    add_constant(player_interface, "CanSeek", false);
    add_constant(player_interface, "CanControl", true);
}

template <class Value>
void media_player::add_constant(const std::string& interface, const std::string& name,
                                const Value& value)
{
    object_->registerProperty(name)
        .onInterface(interface)
        .withGetter([value] { return value; })
        .withUpdateBehavior(Flags::CONST_PROPERTY_VALUE);
} // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks): it loses sight of a std::function that moves.

template <class Value>
void media_player::add_property(const std::string& name, value_of<Value> value,
                                const difference& differs)
{
    properties_.push_back({name, differs});
    object_->registerProperty(name).onInterface(player_interface).withGetter([this, value] {
        return value(shown_);
    });
}

template <class Value>
void media_player::add_property(const std::string& name, value_of<Value> value)
{
    add_property(name, value, difference_in(value));
}

template <class Value>
void media_player::add_setting(const std::string& name, value_of<Value> value,
                               user_request (*request_for)(const Value&))
{
    properties_.push_back({name, difference_in(value)});
    object_->registerProperty(name)
        .onInterface(player_interface)
        .withGetter([this, value] { return value(shown_); })
        .withSetter([this, request_for](const Value& wanted) { ask(request_for(wanted)); });
}

void media_player::add_request(const std::string& interface, const std::string& name,
                               const user_request& wanted)
{
    object_->registerMethod(name).onInterface(interface).implementedAs(
        [this, wanted] { ask(wanted); });
}

void media_player::ask(const user_request& wanted)
{
    requests_->push(wanted);
}
