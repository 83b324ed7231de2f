#include "bus_recording.h"
#include "event.h"
#include "id3.h"
#include "qz_play_test.h"
#include "session_bus.h"
#include "sound_server.h"
#include "tmux_screen.h"

#include <chrono>
#include <csignal>
#include <optional>
#include <sstream>
#include <thread>
#include <utility>

#include <sys/stat.h>

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace
{

constexpr auto application = "org.mpris.MediaPlayer2";
constexpr auto player_interface = "org.mpris.MediaPlayer2.Player";

/// The program on a session bus and a sound server, and playerctl, the client that people use.
class remote : public qz_play_test
{
protected:
    remote()
    {
        settings.environment["XDG_RUNTIME_DIR"] = server_.runtime_folder();
        settings.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    }

    /// Starts qz_play with `arguments` and waits until it is on the bus.
    void start(const std::vector<std::string>& arguments)
    {
        player_.emplace(qz_play(arguments), settings);
        EXPECT_TRUE(wait_until([&] { return control({"status"}) == "Playing"; }))
            << player_->errors();
    }

    program& player() { return *player_; }

    /// Returns the path of a minute of sound.
    [[nodiscard]] std::string minute(const std::string& name) const
    {
        if (!fs::exists(path("minute.mp3"))) {
            static_cast<void>(make_track({"minute.mp3", "60", "44100", "1"}));
        }
        fs::create_hard_link(path("minute.mp3"), path(name));
        return path(name);
    }

    /// Returns the path of a minute of sound with tags before and behind it.
    [[nodiscard]] std::string tagged(const std::string& name, const std::string& before,
                                     const std::string& behind = "") const
    {
        const std::string untagged = read_file(minute(name));
        fs::remove(path(name)); // It is the same file as the others.
        write_file(path(name), before + untagged + behind);
        return path(name);
    }

    result run_client(const std::vector<std::string>& command) const
    {
        program client(command, settings);
        const int status = client.wait_for_exit();
        return {status, client.output(), client.errors()};
    }

    /// Returns what playerctl answers, without the end of its line.
    std::string control(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"playerctl", "--player=qz_play"});
        const std::string answer = run_client(arguments).output;
        return answer.substr(0, answer.find('\n'));
    }

    /// Waits until playerctl answers so.
    [[nodiscard]] bool comes(const std::vector<std::string>& arguments,
                             const std::string& answer) const
    {
        return wait_until([&] { return control(arguments) == answer; });
    }

    [[nodiscard]] bool title_comes(const std::string& title) const
    {
        return comes({"metadata", "xesam:title"}, title);
    }

    [[nodiscard]] bool artist_comes(const std::string& artist) const
    {
        return comes({"metadata", "xesam:artist"}, artist);
    }

    /// Calls a method or property by its name on the bus, with what dbus-send takes as `arguments`.
    result call(const std::string& method, std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(),
                         {"dbus-send", "--session", "--print-reply=literal", "--type=method_call",
                          "--dest=org.mpris.MediaPlayer2.qz_play", "/org/mpris/MediaPlayer2",
                          method});
        return run_client(arguments);
    }

    [[nodiscard]] std::string property(const std::string& interface, const std::string& name) const
    {
        std::string text =
            call("org.freedesktop.DBus.Properties.Get", {"string:" + interface, "string:" + name})
                .output;
        const std::string variant = "   variant       ";
        EXPECT_EQ(text.rfind(variant, 0), 0U) << name << ": " << text;
        return text.substr(variant.size(), text.find_last_not_of(" \n") + 1 - variant.size());
    }

    /// Sets a property of the player to `value`, which names its type, too.
    result set(const std::string& name, const std::string& value) const
    {
        return call(
            "org.freedesktop.DBus.Properties.Set",
            {std::string("string:") + player_interface, "string:" + name, "variant:" + value});
    }

    session_bus bus{path("")};

private:
    sound_server server_{path("")};
    std::optional<program> player_;
};

std::string announced(const std::string& property)
{
    return "string \"" + property + "\"\n";
}

} // namespace

TEST_F(remote, tells_what_plays)
{
    start({minute("a name.mp3")});
    EXPECT_TRUE(title_comes("a name"));
    EXPECT_EQ(control({"metadata", "xesam:artist"}), "");
    EXPECT_TRUE(comes({"metadata", "xesam:url"}, "file://" + path("a%20name.mp3")));
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "60000000"));
    EXPECT_TRUE(comes({"metadata", "mpris:trackid"}, "'/org/qz_audio/qz_play/track/0'"));
}

TEST_F(remote, tells_of_names_that_are_no_text)
{
    start({minute("M\xfcll\xff \xc3\xa4%.mp3")});
    EXPECT_TRUE(title_comes("M\xef\xbf\xbdll\xef\xbf\xbd \xc3\xa4%"));
    EXPECT_TRUE(comes({"metadata", "xesam:url"}, "file://" + path("M%FCll%FF%20%C3%A4%25.mp3")));
}

TEST_F(remote, tells_title_and_artist_in_utf8_whatever_encoding_the_tags_have)
{
    using id3::frame;
    const auto tag = [](const std::string& title, const std::string& artist) {
        return id3::version_2(frame("TIT2", title) + frame("TPE1", artist));
    };
    const std::string utf16("\1\xff\xfeT\0\xe4\0", 7);
    const std::string latin("\0Ein\xe9", 5);
    start({tagged("a.mp3", tag("\3Caf\xc3\xa9", "\3\xe2\x82\xac")), //
           tagged("b.mp3", tag(utf16, latin)),
           tagged("c.mp3", "", id3::version_1("old \xe4", "older \xe9")),
           tagged("d.mp3", tag("\3cut \xe2\x82", "\3\xff"))});
    EXPECT_TRUE(title_comes("Caf\xc3\xa9"));
    EXPECT_TRUE(artist_comes("\xe2\x82\xac"));
    control({"next"});
    EXPECT_TRUE(title_comes("T\xc3\xa4"));
    EXPECT_TRUE(artist_comes("Ein\xc3\xa9"));
    control({"next"});
    EXPECT_TRUE(title_comes("old \xc3\xa4"));
    EXPECT_TRUE(artist_comes("older \xc3\xa9"));
    control({"next"});
    EXPECT_TRUE(title_comes("cut \xc3\xa2\xe2\x80\x9a")); // as Windows has these bytes
    EXPECT_TRUE(artist_comes("\xc3\xbf"));
}

TEST_F(remote, tells_the_album)
{
    start({tagged("a.mp3", id3::version_2(id3::frame("TALB", "\3Alb\xc3\xbcm")))});
    EXPECT_TRUE(comes({"metadata", "xesam:album"}, "Alb\xc3\xbcm"));
}

TEST_F(remote, pause_only_pauses)
{
    start({minute("a.mp3")});
    control({"pause"});
    EXPECT_TRUE(comes({"status"}, "Paused"));
    control({"pause"});
    control({"play-pause"});
    EXPECT_TRUE(comes({"status"}, "Playing"));
    control({"play-pause"});
    EXPECT_TRUE(comes({"status"}, "Paused"));
    control({"play"});
    EXPECT_TRUE(comes({"status"}, "Playing"));
}

TEST_F(remote, stop_waits_for_play)
{
    start({minute("a.mp3")});
    control({"stop"});
    EXPECT_TRUE(comes({"status"}, "Stopped"));
    control({"play"});
    EXPECT_TRUE(comes({"status"}, "Playing"));
}

TEST_F(remote, goes_to_the_next_track_and_the_previous_one)
{
    start({minute("a.mp3"), minute("b.mp3")});
    EXPECT_EQ(property(player_interface, "CanGoNext"), "boolean true");
    EXPECT_EQ(property(player_interface, "CanGoPrevious"), "boolean false");
    control({"next"});
    EXPECT_TRUE(title_comes("b"));
    EXPECT_EQ(property(player_interface, "CanGoNext"), "boolean false");
    EXPECT_EQ(property(player_interface, "CanGoPrevious"), "boolean true");
    control({"previous"});
    EXPECT_TRUE(title_comes("a"));
}

TEST_F(remote, holds_the_volume_to_its_range)
{
    start({"--volume", "80", minute("a.mp3")});
    EXPECT_EQ(control({"volume"}), "0.800000");
    control({"volume", "0.3"});
    EXPECT_TRUE(comes({"volume"}, "0.300000"));
    for (const char* much : {"double:1.01", "double:1e300", "double:inf"}) {
        set("Volume", much);
        EXPECT_TRUE(comes({"volume"}, "1.000000"));
        set("Volume", "double:-1"); // which playerctl takes for an option
        EXPECT_TRUE(comes({"volume"}, "0.000000"));
    }
    control({"volume", "0.3"});
    EXPECT_TRUE(comes({"volume"}, "0.300000"));
    set("Volume", "double:-inf");
    EXPECT_TRUE(comes({"volume"}, "0.000000"));
}

TEST_F(remote, turns_up_from_the_volume_that_is_muted)
{
    settings.environment.erase("TERM");
    const tmux_screen window(path(""), settings);
    window.enter(qz_play({})[0] + " --volume 40 " + minute("a.mp3"));
    EXPECT_TRUE(comes({"volume"}, "0.400000"));
    window.type("m");
    EXPECT_TRUE(window.shows("muted"));
    control({"volume", "0.1+"});
    EXPECT_TRUE(comes({"volume"}, "0.500000"));
    EXPECT_TRUE(window.loses("muted"));
}

TEST_F(remote, loops_and_shuffles)
{
    start({minute("a.mp3"), minute("b.mp3")});
    EXPECT_EQ(control({"loop"}), "None");
    for (const char* mode : {"Track", "Playlist", "None"}) {
        control({"loop", mode});
        EXPECT_TRUE(comes({"loop"}, mode));
    }
    EXPECT_EQ(control({"shuffle"}), "Off");
    control({"shuffle", "On"});
    EXPECT_TRUE(comes({"shuffle"}, "On"));
}

TEST_F(remote, opens_files)
{
    start({minute("a.mp3")});
    static_cast<void>(minute("\xff \xc3\xa4.mp3"));
    control({"open", "file://" + path("%ff%20%C3%A4.mp3")});
    EXPECT_TRUE(title_comes("\xef\xbf\xbd \xc3\xa4"));
    EXPECT_TRUE(comes({"metadata", "xesam:url"}, "file://" + path("%FF%20%C3%A4.mp3")));
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "60000000"));
}

TEST_F(remote, opens_lists)
{
    start({minute("a.mp3")});
    static_cast<void>(minute("b.mp3"));
    static_cast<void>(minute("c.mp3"));
    write_file(path("list.m3u"), "none.mp3\nb.mp3\nc.mp3\n");
    control({"open", "file://" + path("list.m3u")});
    EXPECT_TRUE(title_comes("b"));
    control({"next"});
    EXPECT_TRUE(title_comes("c"));
    EXPECT_TRUE(player().wait_for_error_text(path("none.mp3") +
                                             ": there is no such file; check its name.\n"));
}

TEST_F(remote, plays_on_where_what_is_opened_is_no_track)
{
    start({minute("a.mp3")});
    write_file(path("picture.png"), "no music");
    control({"open", "file://" + path("picture.png")});
    EXPECT_TRUE(player().wait_for_error_text(path("picture.png") +
                                             ": this is no MPEG audio; convert it first.\n"));
    control({"pause"});
    EXPECT_TRUE(comes({"status"}, "Paused"));
    EXPECT_TRUE(title_comes("a"));
    EXPECT_EQ(call(std::string(application) + ".Quit", {}).status, 0);
    EXPECT_EQ(player().wait_for_exit(), 0);
}

TEST_F(remote, refuses_what_it_cannot_open_or_set)
{
    start({minute("a.mp3")});
    const std::string open = std::string(player_interface) + ".OpenUri";
    EXPECT_THAT(call(open, {"string:http://host/a.mp3"}).errors, HasSubstr("Only files of this"));
    EXPECT_THAT(call(open, {"string:file:///%zz"}).errors, HasSubstr("Only files of this"));
    for (const std::string& name : {path("none.mp3"), path(""), std::string(100000, 'a')}) {
        EXPECT_THAT(call(open, {"string:file:///" + name}).errors, HasSubstr("no such file"));
    }

    EXPECT_THAT(set("LoopStatus", "string:Twice").errors,
                HasSubstr("LoopStatus is None, Track or Playlist."));
    EXPECT_THAT(set("Volume", "double:nan").errors, HasSubstr("Volume is a number"));
    EXPECT_EQ(control({"status"}), "Playing");
    EXPECT_EQ(control({"volume"}), "1.000000");
}

TEST_F(remote, tells_what_it_is_and_what_it_can_do)
{
    start({minute("a.mp3")});
    EXPECT_EQ(property(application, "Identity"), "qz_play");
    EXPECT_EQ(property(application, "DesktopEntry"), "qz_play");
    EXPECT_EQ(property(application, "CanQuit"), "boolean true");
    EXPECT_EQ(property(application, "CanRaise"), "boolean false");
    EXPECT_EQ(property(application, "HasTrackList"), "boolean false");
    EXPECT_THAT(property(application, "SupportedUriSchemes"), HasSubstr("file"));
    for (const char* name : {"Rate", "MinimumRate", "MaximumRate"}) {
        EXPECT_EQ(property(player_interface, name), "double 1");
    }
    for (const char* name : {"CanPlay", "CanPause", "CanControl"}) {
        EXPECT_EQ(property(player_interface, name), "boolean true");
    }
    EXPECT_EQ(property(player_interface, "CanSeek"), "boolean false");
}

TEST_F(remote, opens_what_the_desktop_file_says)
{
    start({minute("a.mp3")});
    const std::string desktop_file = read_file(QZ_PLAY_DESKTOP_FILE);
    std::istringstream types(property(application, "SupportedMimeTypes"));
    std::string type;
    std::size_t count = 0;
    while (types >> type) {
        if (type.find('/') != type.npos) {
            EXPECT_THAT(desktop_file, HasSubstr(type + ";"));
            ++count;
        }
    }
    EXPECT_GT(count, 0U);
}

TEST_F(remote, has_a_clock_that_stops_with_the_sound_and_knows_no_seek)
{
    start({minute("a.mp3")});
    EXPECT_TRUE(wait_until([&] { return std::stod(control({"position"})) > 1; }));
    control({"pause"});
    EXPECT_TRUE(wait_until([&] { return control({"position"}) == control({"position"}); }));
    const std::string position = control({"position"});
    EXPECT_EQ(call(std::string(player_interface) + ".Seek", {"int64:10000000"}).status, 0);
    EXPECT_EQ(call(std::string(player_interface) + ".SetPosition",
                   {"objpath:/org/qz_audio/qz_play/track/0", "int64:10000000"})
                  .status,
              0);
    EXPECT_EQ(control({"position"}), position);
}

TEST_F(remote, has_a_clock_that_runs_on_when_a_track_from_a_pipe_is_told_to_go_on)
{
    mkfifo(path("pipe").c_str(), 0600);
    const program writer({"cp", minute("a.mp3"), path("pipe")}, settings);
    start({path("pipe")});
    EXPECT_TRUE(wait_until([&] { return std::stod(control({"position"})) > 5; }));
    player().send(SIGCONT);
    control({"volume", "0.3"});
    EXPECT_TRUE(comes({"volume"}, "0.300000"));
    EXPECT_GT(std::stod(control({"position"})), 3);
}

TEST_F(remote, has_a_clock_that_begins_anew_with_a_track_that_repeats)
{
    start({"--repeat", make_track({"short.mp3", "2"})});
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "2000000"));
    double last = 0;
    EXPECT_TRUE(wait_until([&] {
        const double position = std::stod(control({"position"}));
        EXPECT_LE(position, 2);
        return position < std::exchange(last, position);
    }));
}

TEST_F(remote, announces_what_has_changed_and_nothing_else)
{
    start({minute("a.mp3")});
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "60000000"));
    bus_recording recording("member=PropertiesChanged", settings);
    control({"volume", "0.3"});
    EXPECT_TRUE(comes({"volume"}, "0.300000"));
    const std::string text = recording.text();
    EXPECT_THAT(text, HasSubstr(announced("Volume")));
    for (const char* name : {"PlaybackStatus", "Metadata", "LoopStatus", "Shuffle", "CanPlay",
                             "CanPause", "CanGoNext", "CanGoPrevious", "Position", "Rate"}) {
        EXPECT_THAT(text, Not(HasSubstr(announced(name))));
    }
}

TEST_F(remote, announces_what_keys_have_changed)
{
    settings.environment.erase("TERM");
    const tmux_screen window(path(""), settings);
    window.enter(qz_play({})[0] + " " + minute("a.mp3"));
    EXPECT_TRUE(comes({"status"}, "Playing"));
    bus_recording recording("member=PropertiesChanged", settings);
    window.type("-");
    EXPECT_TRUE(recording.comes(announced("Volume")));
    window.type("r");
    EXPECT_TRUE(recording.comes(announced("LoopStatus")));
    window.type("p");
    EXPECT_TRUE(recording.comes(announced("PlaybackStatus")));
}

TEST_F(remote, announces_the_position_of_a_track_that_begins_anew)
{
    start({make_track({"short.mp3", "2"})});
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "2000000"));
    bus_recording recording("member=Seeked", settings);
    control({"loop", "Playlist"});
    EXPECT_TRUE(recording.comes("member=Seeked"));
    EXPECT_EQ(control({"status"}), "Playing");
}

TEST_F(remote, announces_the_position_when_a_stop_from_outside_is_over)
{
    start({"--repeat", minute("a.mp3")}); // Its end would be a jump, too.
    EXPECT_TRUE(comes({"metadata", "mpris:length"}, "60000000"));
    bus_recording recording("member=Seeked", settings);
    player().send(SIGSTOP);
    std::this_thread::sleep_for(2s); // For any stop that counts as a jump.
    player().send(SIGCONT);
    EXPECT_TRUE(recording.comes("member=Seeked"));
}

TEST_F(remote, has_a_name_of_its_own_for_each_player)
{
    const std::string track = minute("a.mp3");
    start({track});
    const program second(qz_play({track}), settings);
    const std::string name = "qz_play.instance" + std::to_string(second.id());
    EXPECT_TRUE(wait_until([&] {
        return run_client({"playerctl", "-l"}).output.find(name) != name.npos;
    }));
    run_client({"playerctl", "--player=" + name, "pause"});
    EXPECT_TRUE(wait_until([&] {
        return run_client({"playerctl", "--player=" + name, "status"}).output == "Paused\n";
    }));
    EXPECT_EQ(control({"--ignore-player=" + name, "status"}), "Playing");
}

TEST_F(remote, quits_and_leaves_no_name_behind)
{
    start({minute("a.mp3")});
    EXPECT_EQ(call(std::string(application) + ".Quit", {}).status, 0);
    EXPECT_EQ(player().wait_for_exit(), 0);
    EXPECT_THAT(run_client({"playerctl", "-l"}).output, IsEmpty());
}

TEST_F(remote, plays_on_when_the_bus_is_gone)
{
    start({make_track({"short.mp3", "10"})});
    bus.end();
    EXPECT_EQ(player().wait_for_exit(), 0);
    EXPECT_THAT(player().errors(), Not(HasSubstr("bus")));
}

TEST_F(remote, ends_in_spite_of_a_bus_that_comes_to_hang)
{
    start({"--repeat", make_track({"short.mp3", "2"})});
    bus.halt();
    player().send(SIGINT);
    EXPECT_EQ(player().wait_for_exit(), 4);
    bus.go_on();
    EXPECT_THAT(run_client({"playerctl", "-l"}).output, IsEmpty());
}

TEST_F(remote, ends_in_spite_of_a_bus_that_hangs)
{
    bus.halt();
    const result played = run({make_track({})});
    bus.go_on();
    EXPECT_EQ(played.status, 0);
}

TEST_F(remote, is_silent_without_a_bus)
{
    settings.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + path("none");
    const result played = run({make_track({})});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, Not(HasSubstr("qz_play:")));
}

TEST_F(remote, stays_away_where_it_is_not_wanted)
{
    const std::string track = make_track({});
    bus_recording recording("member=NameOwnerChanged", settings);
    EXPECT_EQ(run({"--no-mpris", track}).status, 0);
    EXPECT_EQ(run({"--wav", path("out.wav"), track}).status, 0);
    EXPECT_THAT(recording.text(), Not(HasSubstr(application)));
}
