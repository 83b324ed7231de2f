#include "support_calls.h"
#include "support_decoder.h"
#include "support_pulse.h"

#include "event.h"
#include "process.h"
#include "program.h"
#include "wav_file.h"

#include <out123.h>

#include <csignal>

using ::testing::ElementsAre;

namespace
{

/// A PulseAudio server that dies, hangs or loses its sink, and another player, which plays elsewhere.
class pulse_failure : public pulse_test
{
protected:
    void SetUp() override
    {
        write_sound_to(path("%r-%c"), "raw");
        qz_audio_set_audio_track(other.handle(), other_track);
        ASSERT_TRUE(other.waits_for("loaded"));
        pulse_test::SetUp();
    }

    void control(std::vector<std::string> command) const
    {
        command.insert(command.begin(), "pactl");
        program control(command, server->client_settings());
        ASSERT_EQ(control.wait_for_exit(), 0) << control.errors();
    }

    /// Expects the device to refuse the track that was played last.
    void expect_no_play()
    {
        qz_audio_play(player->handle());
        EXPECT_TRUE(player->waits_for(no_device));
    }

    void expect_track_goes_on()
    {
        heard.emplace(*server, path("heard-further"));
        EXPECT_TRUE(wait_until([this] { return heard->ends_audible(); }));
        stop();
    }

    /// Plays another track on the server, as it is now.
    void expect_good_track_plays()
    {
        heard.emplace(*server, path("heard-good"));
        EXPECT_TRUE(player->plays(make_tone("500", "1.5")));
        EXPECT_TRUE(wait_until([this] { return heard->ends_silent(); }));
        EXPECT_GT(heard->audible_seconds(), 1.0);
    }

    void expect_other_plays()
    {
        qz_audio_play(other.handle());
        EXPECT_TRUE(other.waits_for("stopped"));
        EXPECT_TRUE(same_samples(read_file(path("44100-2")), decode(other_track).samples));
        EXPECT_THAT(other.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    }

    const std::string no_device = "error " + std::to_string(OUT123_DEV_OPEN);
    const std::string other_track = make_track({"other.mp3"});
    told_player other;
};

} // namespace

TEST_F(pulse_failure, a_server_that_is_killed_and_started_again_plays_the_next_track)
{
    play(make_tone("400", "60"));
    server.reset();
    EXPECT_TRUE(player->waits_for("stopped"));
    expect_no_play();
    server.emplace(path(""));
    expect_good_track_plays();
    EXPECT_THAT(player->end(),
                ElementsAre("opened", "loaded", "playing", "stopped", "none", no_device, "opened",
                            "loaded", "playing", "stopped", "none"));
}

TEST_F(pulse_failure, a_sink_that_goes_and_comes_back_plays_the_next_track)
{
    play(make_tone("400", "60"));
    control({"unload-module", "module-null-sink"});
    EXPECT_TRUE(player->waits_for("stopped"));
    expect_no_play();
    control({"load-module", "module-null-sink", "sink_name=null"});
    expect_good_track_plays();
    EXPECT_THAT(player->end(),
                ElementsAre("opened", "loaded", "playing", "stopped", "none", no_device, "opened",
                            "loaded", "playing", "stopped", "none"));
}

TEST_F(pulse_failure, a_suspended_sink_holds_only_its_own_player)
{
    play(make_tone("400", "60"));
    control({"suspend-sink", "null", "1"});
    expect_other_plays();
    control({"suspend-sink", "null", "0"});
    expect_track_goes_on();
    expect_good_track_plays();
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                           "playing", "stopped", "none"));
}

TEST_F(pulse_failure, a_server_that_halts_and_goes_on_plays_on)
{
    play(make_tone("400", "60"));
    server->halt();
    expect_other_plays();
    server->go_on();
    expect_track_goes_on();
    expect_good_track_plays();
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                           "playing", "stopped", "none"));
}

TEST_F(pulse_failure, a_server_that_halts_holds_only_the_player_that_plays_on_it)
{
    play(make_tone("400", "60"));
    server->halt();

    qz_audio_ptr handle = player->handle();
    const boost::weak_ptr<_qz_audio> watched = handle;
    call_all_but_open_and_destroy(handle, other_track);
    player->destroy();
    qz_audio_open(handle);
    handle.reset();
    expect_other_plays();
    EXPECT_FALSE(watched.expired()) << "nothing has held the player";
    server->go_on();
    player->end();
}

TEST_F(pulse_failure, a_server_that_halts_holds_an_open_until_it_goes_on)
{
    server->halt();
    qz_audio_open(player->handle());
    expect_other_plays();
    EXPECT_EQ(qz_audio_get_playback_status(player->handle()), qz_audio_status_none);
    server->go_on();
    EXPECT_TRUE(player->waits_for("opened"));
    expect_good_track_plays();
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(pulse_failure, a_server_that_halts_lets_an_idle_player_end)
{
    told_player opened;
    qz_audio_open(opened.handle());
    ASSERT_TRUE(opened.waits_for("opened"));
    play(make_tone("400", "60"));
    stop();
    server->halt();
    EXPECT_THAT(opened.end(), ElementsAre("opened", "none"));
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    server->go_on();
}

TEST_F(pulse_failure, a_server_that_halts_holds_the_end_of_a_loaded_player_until_it_goes_on)
{
    qz_audio_set_audio_track(player->handle(), other_track);
    ASSERT_TRUE(player->waits_for("loaded"));
    server->halt();
    player->destroy();
    server->go_on();
    EXPECT_THAT(player->end(), ElementsAre("opened", "loaded", "none"));
    expect_other_plays();
}

TEST_F(pulse_failure, a_server_that_halts_lets_the_process_exit)
{
    program process({program_folder() / "real_exit_program", make_tone("400", "60"), "playing"},
                    {});
    ASSERT_TRUE(process.wait_for_output([](const std::string& output) { return !output.empty(); }));
    ASSERT_TRUE(wait_until([this] { return heard->ends_audible(); }));
    server->halt();
    process.send(SIGUSR1);
    EXPECT_EQ(process.wait_for_exit(), 7);
    server->go_on();
}
