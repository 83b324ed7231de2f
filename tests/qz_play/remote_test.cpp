#include "bus_recording.h"
#include "event.h"
#include "id3.h"
#include "qz_play_test.h"
#include "session_bus.h"
#include "tmux_screen.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>
#include <tuple>
#include <utility>

using ::testing::HasSubstr;
using ::testing::Not;

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace
{

constexpr auto application = "org.mpris.MediaPlayer2";
constexpr auto player_interface = "org.mpris.MediaPlayer2.Player";
constexpr auto object = "/org/mpris/MediaPlayer2";
constexpr auto track_id = "/org/qz_audio/qz_play/track/";

/// The program on a session bus and a sound server, and playerctl, the client that people use.
class remote : public qz_play_test
{
protected:
    remote()
    {
        start_server();
        settings.environment["DBUS_SESSION_BUS_ADDRESS"] = bus.address();
    }

    /// Starts qz_play with `arguments` and waits until it is on the bus.
    void start(const std::vector<std::string>& arguments)
    {
        player_.emplace(qz_play(arguments), settings);
        EXPECT_TRUE(status_comes("Playing")) << player_->errors();
    }

    program& player() { return *player_; }

    /// Returns the path of a minute of sound, with these frames of a tag.
    // NOLINTNEXTLINE(modernize-use-nodiscard)
    std::string minute(const std::string& name, const std::string& tag = "") const
    {
        if (!fs::exists(path("minute.mp3"))) {
            make_track({"minute.mp3", "60", "44100", "1"});
        }
        if (tag.empty()) {
            fs::create_hard_link(path("minute.mp3"), path(name));
        } else {
            write_file(path(name), id3::version_2(tag) + read_file(path("minute.mp3")));
        }
        return path(name);
    }

    /// Returns the first line of the output, or the errors.
    std::string answer(const std::vector<std::string>& command) const
    {
        program client(command, settings);
        client.wait_for_exit();
        const std::string& output = client.output();
        return client.errors().empty() ? output.substr(0, output.find('\n')) : client.errors();
    }

    /// Returns what playerctl answers.
    std::string control(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"playerctl", "--player=qz_play"});
        return answer(arguments);
    }

    [[nodiscard]] std::string players() const { return answer({"playerctl", "-l"}); }

    /// Waits until playerctl answers so.
    [[nodiscard]] bool comes(const std::vector<std::string>& arguments,
                             const std::string& expected) const
    {
        return wait_until([&] { return control(arguments) == expected; });
    }

    [[nodiscard]] bool status_comes(const std::string& status) const
    {
        return comes({"status"}, status);
    }

    [[nodiscard]] bool metadata_comes(const std::string& key, const std::string& value) const
    {
        return comes({"metadata", key}, value);
    }

    [[nodiscard]] bool title_comes(const std::string& title) const
    {
        return metadata_comes("xesam:title", title);
    }

    [[nodiscard]] double position() const { return std::stod(control({"position"})); }

    [[nodiscard]] bool passes(double seconds) const
    {
        return wait_until([&] { return position() > seconds; });
    }

    /// Calls, sets or gets what busctl's `arguments` name.
    std::string call(const std::string& command, std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(),
                         {"busctl", "--user", command, "org.mpris.MediaPlayer2.qz_play", object});
        return answer(arguments);
    }

    std::string open(const std::string& uri) const
    {
        return call("call", {player_interface, "OpenUri", "s", uri});
    }

    void quit()
    {
        EXPECT_EQ(call("call", {application, "Quit"}), "");
        EXPECT_EQ(player().wait_for_exit(), 0);
    }

    session_bus bus{path("")};

private:
    std::optional<program> player_;
};

/// Returns how often a signal reports the property.
std::size_t reports(const std::string& recorded, const std::string& property)
{
    return count(recorded, "string \"" + property + "\"\n");
}

} // namespace

TEST_F(remote, shows_what_it_is_and_what_it_can_do)
{
    start({minute("a.mp3"), minute("b.mp3")});
    for (const auto& [interface, name, value] :
         {std::tuple{application, "Identity", "s \"qz_play\""},
          {application, "DesktopEntry", "s \"qz_play\""},
          {application, "CanQuit", "b true"},
          {application, "CanRaise", "b false"},
          {application, "HasTrackList", "b false"},
          {application, "SupportedUriSchemes", "as 1 \"file\""},
          {player_interface, "Rate", "d 1"},
          {player_interface, "MinimumRate", "d 1"},
          {player_interface, "MaximumRate", "d 1"},
          {player_interface, "CanSeek", "b false"},
          {player_interface, "CanControl", "b true"},
          {player_interface, "CanPlay", "b true"},
          {player_interface, "CanPause", "b true"},
          {player_interface, "CanGoNext", "b true"},
          {player_interface, "CanGoPrevious", "b false"}}) {
        EXPECT_EQ(call("get-property", {interface, name}), value) << name;
    }
    program client({"busctl", "--user", "introspect", "--xml-interface",
                    "org.mpris.MediaPlayer2.qz_play", object},
                   settings);
    client.wait_for_exit();
    for (const char* argument :
         {R"(<arg type="s" name="Uri" direction="in"/>)",
          R"(<arg type="x" name="Offset" direction="in"/>)",
          R"(<arg type="o" name="TrackId" direction="in"/>)",
          R"(<arg type="x" name="Position" direction="in"/>)", R"(<arg type="x" name="Position"/>)",
          R"(<property name="Volume" type="d" access="readwrite">)"}) {
        EXPECT_THAT(client.output(), HasSubstr(argument));
    }
    EXPECT_EQ(count(client.output(), "EmitsChangedSignal\" value=\"const\""), 7U + 4U);
    EXPECT_EQ(count(client.output(), "EmitsChangedSignal\" value=\"false\""), 1U); // Position
}

TEST_F(remote, shows_what_plays)
{
    const std::string utf16("\1\xff\xfeT\0\xe4\0", 7);
    const std::string latin("\0Ein\xe9", 5);
    start({minute("a name.mp3"),
           minute("b.mp3", id3::frame("TIT2", utf16) + id3::frame("TPE1", latin) +
                               id3::frame("TALB", "\3Alb\xc3\xbcm"))});
    EXPECT_TRUE(title_comes("a name"));
    EXPECT_THAT(control({"metadata", "xesam:artist"}), Not(HasSubstr("Ein")));
    EXPECT_TRUE(metadata_comes("xesam:url", "file://" + path("a%20name.mp3")));
    EXPECT_TRUE(metadata_comes("mpris:length", "60000000"));
    EXPECT_TRUE(metadata_comes("mpris:trackid", std::string("'") + track_id + "0'"));
    control({"next"});
    EXPECT_TRUE(title_comes("T\xc3\xa4"));
    EXPECT_TRUE(metadata_comes("xesam:artist", "Ein\xc3\xa9"));
    EXPECT_TRUE(metadata_comes("xesam:album", "Alb\xc3\xbcm"));
    control({"previous"});
    EXPECT_TRUE(title_comes("a name"));
}

TEST_F(remote, pauses_stops_and_plays)
{
    start({minute("a.mp3")});
    for (const auto& [command, status] : {std::pair{"pause", "Paused"},
                                          {"play-pause", "Playing"},
                                          {"play-pause", "Paused"},
                                          {"play", "Playing"},
                                          {"stop", "Stopped"},
                                          {"play", "Playing"}}) {
        control({command});
        EXPECT_TRUE(status_comes(status));
    }
    control({"pause"});
    control({"pause"});
    control({"play-pause"});
    EXPECT_TRUE(status_comes("Playing"));
}

TEST_F(remote, acts_while_a_track_never_comes)
{
    start({minute("a.mp3"), make_pipe("pipe"), minute("b.mp3")});
    control({"next"});
    EXPECT_TRUE(title_comes("pipe"));
    control({"next"});
    EXPECT_TRUE(title_comes("b"));
    EXPECT_TRUE(passes(1));
    control({"previous"});
    EXPECT_TRUE(title_comes("pipe"));
    quit();
}

TEST_F(remote, reads_no_file_on_for_its_length_when_another_track_is_chosen)
{
    slow_down_scans();
    const std::string skipped = minute("a.mp3");
    write_file(path("b.mp3"), read_file(skipped));
    start({"--repeat", skipped, path("b.mp3")}); // Its end would close the file, too.
    const auto is_read = [&] {
        const fs::directory_iterator files("/proc/" + std::to_string(player().id()) + "/fd");
        return std::any_of(begin(files), end(files), [&](const fs::path& file) {
            std::error_code ignored;
            return fs::read_symlink(file, ignored) == skipped;
        });
    };
    EXPECT_TRUE(is_read());
    control({"next"});
    EXPECT_TRUE(title_comes("b"));
    EXPECT_TRUE(wait_until([&] { return !is_read(); }));
}

TEST_F(remote, sets_volume_loop_and_shuffle)
{
    start({"--volume", "80", minute("a.mp3"), minute("b.mp3")});
    for (const auto& [name, type, set, value] : {std::tuple{"Volume", "", "", "d 0.8"},
                                                 {"Volume", "d", "0.3", "d 0.3"},
                                                 {"Volume", "d", "1e300", "d 1"},
                                                 {"Volume", "d", "inf", "d 1"},
                                                 {"Volume", "d", "-inf", "d 0"},
                                                 {"LoopStatus", "", "", "s \"None\""},
                                                 {"LoopStatus", "s", "Track", "s \"Track\""},
                                                 {"LoopStatus", "s", "Playlist", "s \"Playlist\""},
                                                 {"LoopStatus", "s", "None", "s \"None\""},
                                                 {"Shuffle", "", "", "b false"},
                                                 {"Shuffle", "b", "true", "b true"},
                                                 {"Shuffle", "b", "false", "b false"},
                                                 {"Rate", "d", "2", "d 1"}}) {
        if (*type != '\0') {
            EXPECT_EQ(call("set-property", {player_interface, name, type, "--", set}), "");
        }
        EXPECT_EQ(call("get-property", {player_interface, name}), value) << set;
    }
    for (const auto& [name, type, set, reason] :
         {std::tuple{"LoopStatus", "s", "Twice", "LoopStatus must be None, Track or Playlist."},
          {"Volume", "d", "nan", "Volume must be a number from 0 to 1."},
          {"Volume", "s", "loud", "Incorrect parameters"},
          {"CanSeek", "b", "true", "not writable"}}) {
        EXPECT_THAT(call("set-property", {player_interface, name, type, set}), HasSubstr(reason));
    }
}

TEST_F(remote, ignores_what_it_cannot_do)
{
    start({minute("a.mp3")});
    EXPECT_TRUE(passes(1));
    control({"pause"});
    EXPECT_TRUE(wait_until([&] { return control({"position"}) == control({"position"}); }));
    const std::string stopped = control({"position"});
    EXPECT_EQ(call("call", {application, "Raise"}), "");
    EXPECT_EQ(call("call", {player_interface, "Seek", "x", "10000000"}), "");
    EXPECT_EQ(call("call", {player_interface, "SetPosition", "ox", std::string(track_id) + "0",
                            "10000000"}),
              "");
    EXPECT_EQ(control({"position"}), stopped);
}

TEST_F(remote, opens_files_lists_and_folders)
{
    start({minute("a.mp3")});
    minute("\xff \xc3\xa4.mp3");
    EXPECT_EQ(open("file://" + path("%ff%20%C3%A4.mp3")), "");
    EXPECT_TRUE(title_comes("\xef\xbf\xbd \xc3\xa4"));
    EXPECT_TRUE(metadata_comes("xesam:url", "file://" + path("%FF%20%C3%A4.mp3")));
    minute("b.mp3");
    minute("home/c.mp3");
    write_file(path("list.m3u"), "none.mp3\n" + make_pipe("pipe") + "\nb.mp3\nhome\n");
    EXPECT_EQ(open("file://" + path("list.m3u")), "");
    EXPECT_TRUE(title_comes("b"));
    control({"next"});
    EXPECT_TRUE(title_comes("c"));
    EXPECT_TRUE(player().wait_for_error_text(path("none.mp3") + ": no such file\n"));
    EXPECT_TRUE(player().wait_for_error_text(path("pipe") + ": not a regular file\n"));
    EXPECT_EQ(open("file://" + path("home")), "");
    EXPECT_TRUE(metadata_comes("mpris:trackid", std::string("'") + track_id + "4'"));
}

TEST_F(remote, plays_on_where_what_is_opened_is_no_track)
{
    start({minute("a.mp3")});
    write_file(path("picture.png"), "no music");
    write_file(path("empty.m3u"), "");
    const std::string pipe = make_pipe("pipe");
    write_file(path("pipe.m3u"), pipe + "\n");
    for (const auto& [name, reason] :
         {std::pair{path("picture.png"), path("picture.png") + ": not MPEG audio"},
          {path("none.mp3"), path("none.mp3") + ": no such file"},
          {path("home"), path("home") + ": no MPEG audio file in this folder"},
          {pipe, pipe + ": not a regular file"},
          {path("pipe.m3u"), pipe + ": not a regular file"},
          {path("empty.m3u"), path("empty.m3u") + ": no tracks in this list"},
          {"/" + std::string(300, 'a'), ": cannot be read (File "}}) {
        EXPECT_THAT(open("file://" + name), HasSubstr(reason));
    }
    for (const char* uri : {"http://host/a.mp3", "file:///%zz", "file://other/a.mp3", ""}) {
        EXPECT_THAT(open(uri), HasSubstr("Only files of this machine can be opened, as in "
                                         "file:///folder/track.mp3."));
    }
    EXPECT_EQ(control({"status"}), "Playing");
    EXPECT_TRUE(title_comes("a"));
    quit();
    EXPECT_THAT(player().errors(),
                HasSubstr("qz_play: " + path("picture.png") + ": not MPEG audio\n"));
    EXPECT_EQ(players(), "No players found\n");
}

TEST_F(remote, opens_what_the_desktop_file_says)
{
    start({minute("a.mp3")});
    const std::string desktop_file = read_file(QZ_PLAY_DESKTOP_FILE);
    EXPECT_THAT(desktop_file, HasSubstr("NoDisplay=true\n"));
    EXPECT_EQ(call("get-property", {application, "SupportedMimeTypes"}),
              "as 5 \"audio/mpeg\" \"audio/mp2\" \"audio/x-mp2\" \"audio/x-mp3\" "
              "\"audio/x-mpegurl\"");
    EXPECT_THAT(desktop_file, HasSubstr("MimeType=audio/mpeg;audio/mp2;audio/x-mp2;audio/x-mp3;"
                                        "audio/x-mpegurl;"));
}

TEST_F(remote, has_a_clock_that_runs_on_when_a_track_from_a_pipe_is_continued)
{
    const std::string pipe = make_pipe("pipe");
    const program writer({"cp", minute("a.mp3"), pipe}, settings);
    start({pipe});
    EXPECT_TRUE(passes(5));
    player().send(SIGCONT);
    control({"volume", "0.3"});
    EXPECT_TRUE(comes({"volume"}, "0.300000"));
    EXPECT_GT(position(), 3);
}

TEST_F(remote, has_a_clock_that_starts_again_with_a_track_that_repeats)
{
    start({"--repeat", make_track({"short.mp3", "2"})});
    EXPECT_TRUE(metadata_comes("mpris:length", "2000000"));
    double last = 0;
    EXPECT_TRUE(wait_until([&] {
        const double now = position();
        EXPECT_LE(now, 2);
        return now < std::exchange(last, now);
    }));
}

TEST_F(remote, reports_a_chosen_track_in_one_signal)
{
    start({minute("a.mp3"), minute("b.mp3", id3::frame("TIT2", "\3Title"))});
    EXPECT_TRUE(passes(1));
    bus_recording recording(std::string("type=signal,path=") + object, settings);
    control({"next"});
    EXPECT_TRUE(title_comes("Title"));
    EXPECT_TRUE(wait_until([&] { return position() < 1; }));
    EXPECT_TRUE(passes(2)); // The exact length is known.
    const std::string recorded = recording.text();
    for (const char* once : {"Metadata", "mpris:length", "Title", "CanGoNext", "CanGoPrevious"}) {
        EXPECT_EQ(reports(recorded, once), 1U) << recorded;
    }
    EXPECT_EQ(count(recorded, "member=PropertiesChanged"), 1U) << recorded;
}

TEST_F(remote, reports_what_keys_have_changed_and_acts_on_both)
{
    settings.environment.erase("TERM");
    const tmux_screen window(path(""), settings);
    window.enter(qz_play({})[0] + " --volume 45 " + minute("a.mp3"));
    EXPECT_TRUE(status_comes("Playing"));
    bus_recording recording("member=PropertiesChanged", settings);
    for (const auto& [key, property] :
         {std::pair{"-", "Volume"}, {"r", "LoopStatus"}, {"p", "PlaybackStatus"}}) {
        window.type(key);
        EXPECT_TRUE(recording.comes(std::string("string \"") + property + "\"\n"));
    }
    control({"shuffle", "On"});
    EXPECT_TRUE(recording.comes("string \"Shuffle\"\n"));
    window.type("m");
    EXPECT_TRUE(window.shows("muted"));
    control({"volume", "0.1+"});
    EXPECT_TRUE(comes({"volume"}, "0.500000")) << "up from the volume that is muted";
    EXPECT_TRUE(window.loses("muted"));
}

TEST_F(remote, reports_the_position_of_a_track_that_starts_again)
{
    start({make_track({"short.mp3", "2"})});
    EXPECT_TRUE(metadata_comes("mpris:length", "2000000"));
    bus_recording recording("member=Seeked", settings);
    control({"loop", "Playlist"});
    EXPECT_TRUE(recording.comes("member=Seeked"));
    EXPECT_EQ(control({"status"}), "Playing");
}

TEST_F(remote, reports_the_position_when_a_stop_from_outside_is_over)
{
    start({"--repeat", minute("a.mp3")}); // Its end would be a jump, too.
    EXPECT_TRUE(metadata_comes("mpris:length", "60000000"));
    bus_recording recording("member=Seeked", settings);
    player().send(SIGSTOP);
    std::this_thread::sleep_for(2s); // For any stop that counts as a jump.
    player().send(SIGCONT);
    EXPECT_TRUE(recording.comes("member=Seeked"));
}

TEST_F(remote, has_a_name_of_its_own_for_each_player)
{
    start({minute("a.mp3")});
    program second(qz_play({minute("b.mp3")}), settings);
    const std::string instance = "qz_play.instance" + std::to_string(second.id());
    EXPECT_TRUE(wait_until([&] {
        return answer({"playerctl", "-p", instance, "status"}) == "Playing";
    }));
    EXPECT_EQ(control({"metadata", "xesam:title"}), "a");
    second.send(SIGTERM);
    EXPECT_EQ(second.wait_for_exit(), 4);
    EXPECT_EQ(players(), "qz_play");
}

TEST_F(remote, plays_on_when_the_bus_is_gone)
{
    start({make_track({"short.mp3", "10"})});
    bus.end();
    EXPECT_EQ(player().wait_for_exit(), 0);
    EXPECT_THAT(player().errors(), Not(HasSubstr("bus")));
}

TEST_F(remote, ends_in_spite_of_a_bus_that_hangs)
{
    start({"--repeat", make_track({"short.mp3", "2"})});
    bus.halt();
    player().send(SIGINT);
    EXPECT_EQ(player().wait_for_exit(), 4);
    EXPECT_EQ(run({make_link("other.mp3")}).status, 0) << "it hangs from the beginning";
    bus.go_on();
    EXPECT_TRUE(wait_until([&] { return players() == "No players found\n"; }));
}

TEST_F(remote, prints_nothing_without_a_bus)
{
    settings.environment["DBUS_SESSION_BUS_ADDRESS"] = "unix:path=" + path("none");
    const result played = run({make_track({})});
    EXPECT_EQ(played.status, 0);
    EXPECT_THAT(played.errors, Not(HasSubstr("qz_play:")));
}

TEST_F(remote, stays_away_where_it_is_not_wanted_or_nothing_plays)
{
    const std::string track = make_track({});
    bus_recording recording("member=NameOwnerChanged", settings);
    EXPECT_EQ(run({"--no-mpris", track}).status, 0);
    EXPECT_EQ(run_to_wav({track}).status, 0);
    program silent(qz_play({make_pipe("pipe")}), settings);
    EXPECT_TRUE(silent.wait_for_error_text("opened\n"));
    end_at_once(silent);
    EXPECT_EQ(silent.wait_for_exit(), 4);
    EXPECT_THAT(recording.text(), Not(HasSubstr(application)));
}
