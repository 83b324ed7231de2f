#include "mpris.h"

#include "file_uri.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <unistd.h>

namespace
{

using namespace std::chrono_literals;

constexpr auto max_tag_wait = 100ms;

constexpr auto bus_name = "org.mpris.MediaPlayer2.qz_play";
constexpr auto object_path = "/org/mpris/MediaPlayer2";
constexpr auto application_interface = "org.mpris.MediaPlayer2";
constexpr auto player_interface = "org.mpris.MediaPlayer2.Player";

constexpr auto unprivileged = SD_BUS_VTABLE_UNPRIVILEGED;
constexpr auto constant = SD_BUS_VTABLE_PROPERTY_CONST;
constexpr auto emits_change = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;

constexpr std::array<const char*, 3> states{"Stopped", "Paused", "Playing"};
constexpr std::array<const char*, 3> loop_modes{"None", "Track", "Playlist"};

using strings = std::vector<const char*>;

std::int64_t microseconds(snapshot::seconds time)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time).count();
}

// The values of the properties.
template <bool value>
constexpr auto always = [](const snapshot&) { return value; };
constexpr auto program_name = [](const snapshot&) { return "qz_play"; };
constexpr auto uri_schemes = [](const snapshot&) { return strings{"file"}; };
constexpr auto mime_types = [](const snapshot&) {
    return strings{"audio/mpeg", "audio/mp2", "audio/x-mp2", "audio/x-mp3", "audio/x-mpegurl"};
};
constexpr auto only_rate = [](const snapshot&) { return 1.0; };
constexpr auto state = [](const snapshot& now) { return states.at(std::size_t(now.state)); };
constexpr auto loop_status = [](const snapshot& now) {
    return loop_modes.at(std::size_t(now.loop));
};
constexpr auto shuffle = [](const snapshot& now) { return now.shuffle; };
constexpr auto can_next = [](const snapshot& now) { return now.can_next; };
constexpr auto can_previous = [](const snapshot& now) { return now.can_previous; };
constexpr auto has_track = [](const snapshot& now) { return !now.path.empty(); };
constexpr auto metadata = [](const snapshot& now) -> const snapshot& { return now; };
constexpr auto position = [](const snapshot& now) {
    return microseconds(now.position_at(snapshot::clock::now()));
};
/// MPRIS has no mute: while muted, the user's volume is reported, so that a client can change it.
constexpr auto volume = [](const snapshot& now) { return now.volume / 100.0; };

/// Returns the title in UTF-8. Without a title, returns the file's name without its extension, in any encoding.
std::string title_or_file_name(const snapshot& now)
{
    return now.title.empty() ? std::filesystem::path(now.path).stem().string() : now.title;
}

/// Appends a string, a bool, a double or a 64-bit integer.
template <class Value>
int append(sd_bus_message* reply, Value value)
{
    constexpr bool is_bool = std::is_same_v<Value, bool>;
    constexpr bool is_double = std::is_same_v<Value, double>;
    constexpr bool is_text = std::is_same_v<Value, const char*>;
    const char* const type = is_bool ? "b" : is_double ? "d" : is_text ? "s" : "x";
    return sd_bus_message_append(reply, type, value);
}

int append(sd_bus_message* reply, strings values)
{
    values.push_back(nullptr);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): sd-bus does not modify it.
    return sd_bus_message_append_strv(reply, const_cast<char**>(values.data()));
}

/// Appends the track's metadata.
int append(sd_bus_message* reply, const snapshot& now)
{
    int result = sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "{sv}");
    const auto add = [&](bool has, const char* key, const char* type, auto... values) {
        if (has && result >= 0) {
            result = sd_bus_message_append(reply, "{sv}", key, type, values...);
        }
    };
    const bool known = has_track(now);
    const std::string id = "/org/qz_audio/qz_play/track/" + std::to_string(now.index);
    add(known, "mpris:trackid", "o", id.c_str());
    add(known, "xesam:title", "s", text::valid_utf8(title_or_file_name(now)).c_str());
    add(known, "xesam:url", "s", file_uri(now.path).c_str());
    add(!now.artist.empty(), "xesam:artist", "as", 1, text::valid_utf8(now.artist).c_str());
    add(!now.album.empty(), "xesam:album", "s", text::valid_utf8(now.album).c_str());
    add(now.length.has_value(), "mpris:length", "x", microseconds(now.length.value_or(0s)));
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

bool is_same_track(const snapshot& one, const snapshot& other)
{
    return one.path == other.path && one.index == other.index;
}

/// Returns whether the position differs from what a client extrapolates from `before`.
bool position_jumped(const snapshot& before, const snapshot& now)
{
    constexpr double negligible = 0.5;
    snapshot expected = before;
    expected.is_advancing = before.state == play_state::playing;
    const snapshot::seconds gap = now.position - expected.position_at(now.taken);
    return is_same_track(before, now) && std::abs(gap.count()) > negligible;
}

/// Ignores a small change of the length, such as from an estimate to the exact one.
bool same_metadata(const snapshot& one, const snapshot& other)
{
    constexpr double negligible = 1;
    const auto gap = one.length.value_or(0s) - other.length.value_or(0s);
    const bool same_length =
        one.length.has_value() == other.length.has_value() && std::abs(gap.count()) < negligible;
    return is_same_track(one, other) && same_length && one.title == other.title &&
           one.artist == other.artist && one.album == other.album;
}

// These functions turn messages into commands. They throw `std::invalid_argument`.

template <class Command>
user_command without_arguments(sd_bus_message* call)
{
    sd_bus_reply_method_return(call, nullptr);
    return Command{};
}

user_command set_loop(sd_bus_message* message)
{
    const char* name = "";
    sd_bus_message_read_basic(message, SD_BUS_TYPE_STRING, &name);
    const auto* const found =
        std::find(loop_modes.begin(), loop_modes.end(), std::string_view(name));
    if (found == loop_modes.end()) {
        throw std::invalid_argument("LoopStatus must be None, Track or Playlist.");
    }
    return command::set_loop{static_cast<loop_mode>(found - loop_modes.begin())};
}

user_command set_shuffle(sd_bus_message* message)
{
    int on = 0;
    sd_bus_message_read_basic(message, SD_BUS_TYPE_BOOLEAN, &on);
    return command::set_shuffle{on != 0};
}

user_command set_volume(sd_bus_message* message)
{
    double part = std::nan("");
    sd_bus_message_read_basic(message, SD_BUS_TYPE_DOUBLE, &part);
    if (std::isnan(part)) {
        throw std::invalid_argument("Volume must be a number from 0 to 1.");
    }
    return command::set_volume{static_cast<int>(std::lround(100 * std::clamp(part, 0.0, 1.0)))};
}

/// Keeps the message until the reply, which may be sent after the connection is closed.
user_command open_uri(sd_bus_message* call)
{
    const char* uri = "";
    sd_bus_message_read_basic(call, SD_BUS_TYPE_STRING, &uri);
    const std::optional<std::string> path = path_of_file_uri(uri);
    if (!path) {
        throw std::invalid_argument(
            "Only files of this machine can be opened, as in file:///folder/track.mp3.");
    }
    const std::shared_ptr<sd_bus_message> held(sd_bus_message_ref(call), sd_bus_message_unref);
    const auto reply = [held](const std::string& problem) {
        if (problem.empty()) {
            sd_bus_reply_method_return(held.get(), nullptr);
        } else {
            sd_bus_reply_method_errorf(held.get(), SD_BUS_ERROR_FILE_NOT_FOUND, "%s",
                                       text::valid_utf8(problem).c_str());
        }
    };
    return command::open{*path, reply};
}

/// Requests the name with the process ID if another process owns the plain one.
int on_name_reply(sd_bus_message* reply, void*, sd_bus_error*)
{
    constexpr std::uint32_t taken = 3;
    std::uint32_t result = 0;
    sd_bus_message_read_basic(reply, SD_BUS_TYPE_UINT32, &result);
    if (result != taken) {
        return 0;
    }
    std::array<char, 64> name{};
    std::snprintf(name.data(), name.size(), "%s.instance%d", bus_name, getpid());
    return sd_bus_request_name_async(sd_bus_message_get_bus(reply), nullptr, name.data(), 0,
                                     nullptr, nullptr);
}

/// Ignores the value: there is only one rate.
int set_rate(sd_bus*, const char*, const char*, const char*, sd_bus_message* message, void*,
             sd_bus_error*)
{
    return sd_bus_message_skip(message, "d");
}

/// Replies without doing anything: CanRaise and CanSeek are false.
int ignore(sd_bus_message* call, void*, sd_bus_error*)
{
    return sd_bus_reply_method_return(call, nullptr);
}

} // namespace

/// The callbacks of sd-bus. `self` is the `mpris` object.
struct mpris::callbacks {
    template <const auto& value>
    static int get(sd_bus*, const char*, const char*, const char*, sd_bus_message* reply,
                   void* self, sd_bus_error*)
    {
        const mpris& owner = *static_cast<mpris*>(self);
        int result = -EIO;
        const auto add = [&] { result = append(reply, value(owner.published_)); };
        owner.loop_.call(std::ref(add));
        return result;
    }

    template <user_command (*read)(sd_bus_message*)>
    static int perform(sd_bus_message* message, void* self, sd_bus_error* error)
    {
        const mpris& owner = *static_cast<mpris*>(self);
        try {
            const user_command wanted = read(message);
            const auto perform = [&] { owner.perform_(wanted); };
            owner.loop_.call(std::ref(perform));
            return 1;
        } catch (const std::exception& refusal) {
            return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, refusal.what());
        }
    }

    template <user_command (*read)(sd_bus_message*)>
    static int set(sd_bus*, const char*, const char*, const char*, sd_bus_message* message,
                   void* self, sd_bus_error* error)
    {
        return perform<read>(message, self, error);
    }

    template <class Command>
    static constexpr auto simple = perform<without_arguments<Command>>;

    static const sd_bus_vtable application[];
    static const sd_bus_vtable player[];
};

const sd_bus_vtable mpris::callbacks::application[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Identity", "s", get<program_name>, 0, constant),
    SD_BUS_PROPERTY("DesktopEntry", "s", get<program_name>, 0, constant),
    SD_BUS_PROPERTY("CanQuit", "b", get<always<true>>, 0, constant),
    SD_BUS_PROPERTY("CanRaise", "b", get<always<false>>, 0, constant),
    SD_BUS_PROPERTY("HasTrackList", "b", get<always<false>>, 0, constant),
    SD_BUS_PROPERTY("SupportedUriSchemes", "as", get<uri_schemes>, 0, constant),
    SD_BUS_PROPERTY("SupportedMimeTypes", "as", get<mime_types>, 0, constant),
    SD_BUS_METHOD("Quit", "", "", simple<command::quit>, unprivileged),
    SD_BUS_METHOD("Raise", "", "", ignore, unprivileged),
    SD_BUS_VTABLE_END,
};

const sd_bus_vtable mpris::callbacks::player[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Next", "", "", simple<command::next>, unprivileged),
    SD_BUS_METHOD("Previous", "", "", simple<command::previous>, unprivileged),
    SD_BUS_METHOD("Play", "", "", simple<command::play>, unprivileged),
    SD_BUS_METHOD("Pause", "", "", simple<command::pause>, unprivileged),
    SD_BUS_METHOD("PlayPause", "", "", simple<command::toggle_pause>, unprivileged),
    SD_BUS_METHOD("Stop", "", "", simple<command::stop>, unprivileged),
    SD_BUS_METHOD_WITH_NAMES("OpenUri", "s", SD_BUS_PARAM(Uri), "", , perform<open_uri>,
                             unprivileged),
    SD_BUS_METHOD_WITH_NAMES("Seek", "x", SD_BUS_PARAM(Offset), "", , ignore, unprivileged),
    SD_BUS_METHOD_WITH_NAMES("SetPosition", "ox", SD_BUS_PARAM(TrackId) SD_BUS_PARAM(Position), "",
                             , ignore, unprivileged),
    SD_BUS_SIGNAL_WITH_NAMES("Seeked", "x", SD_BUS_PARAM(Position), 0),
    SD_BUS_PROPERTY("PlaybackStatus", "s", get<state>, 0, emits_change),
    SD_BUS_PROPERTY("Metadata", "a{sv}", get<metadata>, 0, emits_change),
    SD_BUS_PROPERTY("Position", "x", get<position>, 0, 0),
    SD_BUS_PROPERTY("CanPlay", "b", get<has_track>, 0, emits_change),
    SD_BUS_PROPERTY("CanPause", "b", get<has_track>, 0, emits_change),
    SD_BUS_PROPERTY("CanGoNext", "b", get<can_next>, 0, emits_change),
    SD_BUS_PROPERTY("CanGoPrevious", "b", get<can_previous>, 0, emits_change),
    SD_BUS_WRITABLE_PROPERTY("LoopStatus", "s", get<loop_status>, set<set_loop>, 0, emits_change),
    SD_BUS_WRITABLE_PROPERTY("Volume", "d", get<volume>, set<set_volume>, 0, emits_change),
    SD_BUS_WRITABLE_PROPERTY("Shuffle", "b", get<shuffle>, set<set_shuffle>, 0, emits_change),
    SD_BUS_WRITABLE_PROPERTY("Rate", "d", get<only_rate>, set_rate, 0, emits_change),
    SD_BUS_PROPERTY("MinimumRate", "d", get<only_rate>, 0, constant),
    SD_BUS_PROPERTY("MaximumRate", "d", get<only_rate>, 0, constant),
    SD_BUS_PROPERTY("CanSeek", "b", get<always<false>>, 0, constant),
    SD_BUS_PROPERTY("CanControl", "b", get<always<true>>, 0, constant),
    SD_BUS_VTABLE_END,
};

mpris::mpris(event_loop& loop, std::function<void(const user_command&)> perform)
    : loop_(loop), perform_(std::move(perform)), tags_timeout_(loop, [this] { publish_latest(); })
{
}

void mpris::publish(const snapshot& now)
{
    latest_ = now;
    if (now.knows_tags || is_same_track(now, published_)) {
        publish_latest();
    } else if (!std::exchange(waits_for_tags_, true)) {
        tags_timeout_.set(event_loop::clock::now() + max_tag_wait);
    }
}

void mpris::publish_latest()
{
    waits_for_tags_ = false;
    tags_timeout_.cancel();
    const snapshot before = std::exchange(published_, latest_);
    if (!tried_to_connect_ && published_.state == play_state::playing) {
        tried_to_connect_ = true;
        connect();
    } else if (bus_ && sd_bus_is_open(bus_.get()) > 0) {
        report_changes(before);
    } else {
        bus_.reset();
    }
}

void mpris::connect()
{
    sd_bus* bus = nullptr;
    if (sd_bus_open_user(&bus) < 0) {
        return;
    }
    bus_.reset(bus);
    sd_bus_set_close_on_exit(bus,
                             0); // otherwise the end of the loop would wait for a bus that hangs
    sd_bus_attach_event(bus, loop_.handle(), SD_EVENT_PRIORITY_NORMAL);
    sd_bus_add_object_vtable(bus, nullptr, object_path, application_interface,
                             callbacks::application, this);
    sd_bus_add_object_vtable(bus, nullptr, object_path, player_interface, callbacks::player, this);
    sd_bus_request_name_async(bus, nullptr, bus_name, 0, on_name_reply, nullptr);
}

void mpris::report_changes(const snapshot& before)
{
    strings changed;
    const auto compare = [&](const char* name, const auto& value) {
        if (value(before) != value(published_)) {
            changed.push_back(name);
        }
    };
    compare("PlaybackStatus", [](const snapshot& now) { return now.state; });
    compare("LoopStatus", [](const snapshot& now) { return now.loop; });
    compare("Shuffle", shuffle);
    compare("Volume", volume);
    compare("CanPlay", has_track);
    compare("CanPause", has_track);
    compare("CanGoNext", can_next);
    compare("CanGoPrevious", can_previous);
    if (!same_metadata(before, published_)) {
        changed.push_back("Metadata");
    }
    changed.push_back(nullptr);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): sd-bus does not modify it.
    auto* const names = const_cast<char**>(changed.data());
    sd_bus_emit_properties_changed_strv(bus_.get(), object_path, player_interface, names);
    if (position_jumped(before, published_)) {
        sd_bus_emit_signal(bus_.get(), object_path, player_interface, "Seeked", "x",
                           position(published_));
    }
}
