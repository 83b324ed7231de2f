#include "support.h"
#include "support_decoder.h"
#include "support_player.h"

#include "wav_file.h"

#include <mpg123.h>

using ::testing::ElementsAre;

namespace
{

struct format {
    int rate;
    int channels;
};

/// Tracks of several formats on one player. A file of sound bears its format in its name, so that each
/// track, as it was played last, has its own.
class succession : public real_test
{
protected:
    succession() { write_sound_to(path("%r-%c.wav")); }

    std::string make(const format& wanted) const
    {
        track_settings settings;
        settings.name =
            std::to_string(wanted.rate) + "-" + std::to_string(wanted.channels) + ".mp3";
        settings.rate = wanted.rate;
        settings.channels = wanted.channels;
        return make_track(settings);
    }

    void set(const std::string& track)
    {
        qz_audio_set_audio_track(player.handle(), track);
        ASSERT_TRUE(player.waits_for("loaded"));
    }

    /// Plays the track over and over.
    void play_on(const std::string& track)
    {
        set(track);
        qz_audio_set_repeat(player.handle(), true);
        qz_audio_play(player.handle());
        ASSERT_TRUE(player.waits_for("playing"));
    }

    void play_to_the_end()
    {
        qz_audio_set_repeat(player.handle(), false);
        qz_audio_play(player.handle());
        ASSERT_TRUE(player.waits_for("stopped"));
    }

    void expect_whole(const std::string& track) const
    {
        const decoded_track decoded = decode(track);
        ASSERT_EQ(decoded.result, MPG123_DONE);
        EXPECT_TRUE(same_samples(written_samples(decoded.rate, decoded.channels), decoded.samples));
    }

    /// What was heard of a track that played over and over until another took its place.
    void expect_beginning(const std::string& track) const
    {
        const decoded_track decoded = decode(track);
        const std::string heard = written_samples(decoded.rate, decoded.channels);
        const auto rounds = static_cast<int>(heard.size() / decoded.samples.size()) + 1;
        EXPECT_TRUE(begins_with(decode(track, 1.0, rounds).samples, heard));
    }

    static std::string code_of_opening(const std::string& track)
    {
        const decoded_track decoded = decode(track);
        EXPECT_EQ(decoded.result, MPG123_ERR);
        return "error " + std::to_string(decoded.error);
    }

    std::string make_text() const
    {
        write_file(path("text.mp3"), "This is no music.\n");
        return path("text.mp3");
    }

    told_player player;
};

} // namespace

TEST_F(succession, each_track_of_an_idle_player_sounds_as_on_a_fresh_one)
{
    for (const int rate : {8000, 48000, 11025, 44100, 12000, 32000, 16000, 24000, 22050}) {
        for (const int channels : {1, 2, 1}) {
            SCOPED_TRACE(std::to_string(rate) + " Hz, channels: " + std::to_string(channels));
            const std::string track = make({rate, channels});
            ASSERT_TRUE(player.plays(track));
            expect_whole(track);
        }
    }
}

TEST_F(succession, a_track_takes_the_place_of_a_loaded_one)
{
    const std::string second = make({22050, 1});
    set(make({48000, 2}));
    set(second);
    play_to_the_end();
    expect_whole(second);
    EXPECT_THAT(written_samples(48000, 2), ::testing::IsEmpty());
}

TEST_F(succession, a_track_takes_the_place_of_a_paused_one)
{
    const std::string first = make({48000, 2});
    const std::string second = make({22050, 1});
    play_on(first);
    qz_audio_pause(player.handle());
    ASSERT_TRUE(player.waits_for("paused"));
    set(second);
    play_to_the_end();
    expect_beginning(first);
    expect_whole(second);
}

TEST_F(succession, a_track_takes_the_place_of_a_playing_one)
{
    const std::vector<std::string> tracks{make({48000, 2}), make({22050, 1}), make({8000, 1}),
                                          make({44100, 2}), make({16000, 2})};
    const std::string last = make({11025, 1});
    for (const std::string& track : tracks) {
        play_on(track);
    }
    set(last);
    play_to_the_end();
    for (const std::string& track : tracks) {
        SCOPED_TRACE(track);
        expect_beginning(track);
    }
    expect_whole(last);
}

TEST_F(succession, a_missing_file_ends_the_playing_one_and_is_told_once)
{
    const std::string first = make({48000, 2});
    const std::string second = make({22050, 1});
    const std::string error = code_of_opening(path("none.mp3"));
    play_on(first);
    qz_audio_set_audio_track(player.handle(), path("none.mp3"));
    ASSERT_TRUE(player.waits_for(error));
    set(second);
    play_to_the_end();
    expect_beginning(first);
    expect_whole(second);
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "opened", error, "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(succession, a_file_without_audio_closes_the_player_and_the_next_track_opens_it)
{
    const std::string first = make({48000, 2});
    const std::string second = make({22050, 1});
    const std::string error = "error " + std::to_string(decode(make_text()).error);
    play_on(first);
    qz_audio_set_audio_track(player.handle(), path("text.mp3"));
    ASSERT_TRUE(player.waits_for(error));
    set(second);
    play_to_the_end();
    expect_beginning(first);
    expect_whole(second);
    // The track's own report, and that of the playing that it has cut off.
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "none", error, error,
                                          "opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(succession, a_missing_file_leaves_a_loaded_track_loaded)
{
    const std::string error = code_of_opening(path("none.mp3"));
    set(make({48000, 2}));
    qz_audio_set_audio_track(player.handle(), path("none.mp3"));
    EXPECT_TRUE(player.waits_for(error));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", error, "none"));
}
