#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include <mpg123.h>

using ::testing::ElementsAre;

namespace
{

/// A player in the middle of a long track that waits for the test to listen.
class controls : public real_test
{
protected:
    controls()
    {
        track_settings settings;
        settings.seconds = "10";
        track = make_track(settings);
        decoded = decode(track);
        write_sound_to(path("pipe"), "raw");
        qz_audio_set_audio_track(player.handle(), track);
    }

    void SetUp() override { ASSERT_EQ(decoded.result, MPG123_DONE); }

    void play_a_part()
    {
        qz_audio_play(player.handle());
        ASSERT_TRUE(pipe.listens_to(some_bytes));
    }

    void pause()
    {
        qz_audio_pause(player.handle());
        listen_until("paused");
    }

    void stop()
    {
        qz_audio_stop(player.handle(), nullptr);
        listen_until("stopped");
    }

    void play_to_the_end()
    {
        qz_audio_play(player.handle());
        listen_until("stopped");
    }

    /// All requests before this one have been served when it returns.
    void serve_a_request()
    {
        qz_audio_set_volume(player.handle(), 100);
        listen_until("volume 100");
    }

    void listen_until(const std::string& word)
    {
        ASSERT_TRUE(pipe.listens_until([&] { return player.tells(word); })) << word;
    }

    static constexpr std::size_t some_bytes = 50'000;

    std::string track;
    decoded_track decoded;
    sound_pipe pipe{path("pipe")};
    told_player player;
};

} // namespace

TEST_F(controls, pause_and_resume_lose_and_repeat_no_sample)
{
    for (int pauses = 0; pauses < 3; ++pauses) {
        play_a_part();
        pause();
    }
    play_to_the_end();
    EXPECT_TRUE(same_samples(pipe.take(), decoded.samples));
    EXPECT_THAT(player.end(),
                ElementsAre("opened", "loaded", "playing", "paused", "playing", "paused", "playing",
                            "paused", "playing", "stopped", "none"));
}

TEST_F(controls, stop_lets_the_next_play_start_over)
{
    play_a_part();
    stop();
    EXPECT_TRUE(is_beginning(pipe.take(), decoded.samples));
    play_to_the_end();
    EXPECT_TRUE(same_samples(pipe.take(), decoded.samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(controls, stop_at_the_end_of_the_track_lets_the_next_play_start_over)
{
    play_to_the_end();
    pipe.take();
    play_to_the_end();
    EXPECT_TRUE(same_samples(pipe.take(), decoded.samples));
}

TEST_F(controls, stop_while_paused_lets_the_next_play_go_on)
{
    play_a_part();
    pause();
    stop();
    play_to_the_end();
    EXPECT_TRUE(same_samples(pipe.take(), decoded.samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "paused", "stopped",
                                          "loaded", "playing", "stopped", "none"));
}

TEST_F(controls, a_second_play_halts_the_track_until_a_pause_and_loses_no_sample)
{
    play_a_part();
    qz_audio_play(player.handle());
    serve_a_request();
    std::string heard = pipe.take();
    serve_a_request();
    EXPECT_EQ(pipe.take(), "") << "the track goes on";
    pause();
    play_to_the_end();
    heard += pipe.take();
    EXPECT_TRUE(same_samples(heard, decoded.samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "volume 100", "volume 100",
                                          "paused", "playing", "stopped", "none"));
}

TEST_F(controls, repeat_is_seamless)
{
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_play(player.handle());
    ASSERT_TRUE(pipe.listens_to(2 * decoded.samples.size() + some_bytes));
    stop();
    const std::string heard = pipe.take();
    const auto rounds = static_cast<int>(heard.size() / decoded.samples.size()) + 1;
    EXPECT_TRUE(is_beginning(heard, decode(track, 1.0, rounds).samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(controls, repeat_that_is_switched_off_lets_the_round_end)
{
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_play(player.handle());
    ASSERT_TRUE(pipe.listens_to(decoded.samples.size() + some_bytes));
    qz_audio_set_repeat(player.handle(), false);
    listen_until("stopped");
    EXPECT_TRUE(same_samples(pipe.take(), decode(track, 1.0, 2).samples));
}

TEST_F(controls, a_pause_in_a_later_round_loses_and_repeats_no_sample)
{
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_play(player.handle());
    ASSERT_TRUE(pipe.listens_to(decoded.samples.size() + some_bytes));
    pause();
    qz_audio_set_repeat(player.handle(), false);
    play_to_the_end();
    EXPECT_TRUE(same_samples(pipe.take(), decode(track, 1.0, 2).samples));
}

TEST_F(controls, destroy_ends_the_sound_in_the_middle)
{
    play_a_part();
    player.destroy();
    listen_until("none");
    EXPECT_TRUE(is_beginning(pipe.take(), decoded.samples));
}
