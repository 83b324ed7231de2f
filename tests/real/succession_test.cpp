#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "program.h"
#include "wav_file.h"

#include <mpg123.h>

#include <memory>
#include <utility>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace
{

struct format {
    int rate;
    int channels;
};

/// A long track whose sound goes through a pipe, so that the player waits in the middle of it.
struct held_track {
    held_track(std::string file, const std::string& output) : track(std::move(file)), pipe(output)
    {
    }

    std::string track;
    sound_pipe pipe;
};

/// Tracks of several formats on one player. What is played bears its format in its name, so that each
/// track has a file, or a pipe, of its own.
class succession : public real_test
{
protected:
    succession() { write_sound_to(path("%r-%c.wav")); }

    static std::string name_of(const format& format)
    {
        return std::to_string(format.rate) + "-" + std::to_string(format.channels);
    }

    [[nodiscard]] std::string make(const format& wanted, const std::string& seconds = "0.5") const
    {
        track_settings settings;
        settings.name = name_of(wanted) + ".mp3";
        settings.rate = wanted.rate;
        settings.channels = wanted.channels;
        settings.seconds = seconds;
        return make_track(settings);
    }

    [[nodiscard]] std::unique_ptr<held_track> make_held(const format& wanted) const
    {
        return std::make_unique<held_track>(make(wanted, "10"), path(name_of(wanted) + ".wav"));
    }

    /// Listens to the track that is held, if there is one.
    void wait_for(const std::string& word)
    {
        const auto is_told = [&] { return player.tells(word); };
        ASSERT_TRUE(held ? held->pipe.listens_until(is_told) : wait_until(is_told)) << word;
    }

    void set(const std::string& track)
    {
        qz_audio_set_audio_track(player.handle(), track);
        wait_for("loaded");
    }

    /// Plays a track, in place of the one before, to somewhere in its middle.
    void play_part_of(const format& wanted)
    {
        auto next = make_held(wanted);
        set(next->track);
        if (held) {
            expect_part_heard();
        }
        held = std::move(next);
        held->pipe.take(); // a header, from the output's start for the load
        qz_audio_play(player.handle());
        ASSERT_TRUE(held->pipe.listens_to(header + 1));
    }

    void play_to_the_end()
    {
        qz_audio_play(player.handle());
        wait_for("stopped");
    }

    /// To be called once another track has taken its place.
    void expect_part_heard()
    {
        const std::string heard = held->pipe.take();
        ASSERT_GT(heard.size(), header);
        EXPECT_TRUE(is_beginning(heard.substr(header), decode(held->track).samples));
    }

    void expect_whole(const std::string& track) const
    {
        const decoded_track decoded = decode(track);
        ASSERT_EQ(decoded.result, MPG123_DONE);
        EXPECT_TRUE(same_samples(written_samples(decoded.rate, decoded.channels), decoded.samples));
    }

    /// What the player tells of a track that the decoder refuses.
    static std::string error_of(const std::string& track)
    {
        const decoded_track decoded = decode(track);
        EXPECT_NE(decoded.error, MPG123_OK);
        return "error " + std::to_string(decoded.error);
    }

    static constexpr std::size_t header = 44;

    std::unique_ptr<held_track> held;
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
    EXPECT_THAT(player.end(), Contains("opened").Times(1)) << "the player has begun anew";
}

TEST_F(succession, a_track_takes_the_place_of_a_loaded_one)
{
    const std::string second = make({22050, 1});
    set(make({48000, 2}));
    set(second);
    play_to_the_end();
    expect_whole(second);
    EXPECT_THAT(written_samples(48000, 2), IsEmpty());
}

TEST_F(succession, a_track_takes_the_place_of_a_paused_one)
{
    const std::string second = make({22050, 1});
    play_part_of({48000, 2});
    qz_audio_pause(player.handle());
    wait_for("paused");
    set(second);
    expect_part_heard();
    play_to_the_end();
    expect_whole(second);
}

TEST_F(succession, a_track_takes_the_place_of_a_playing_one)
{
    const std::string last = make({11025, 1});
    for (const format& each : {format{48000, 2}, {22050, 1}, {8000, 1}, {44100, 2}, {16000, 2}}) {
        SCOPED_TRACE(name_of(each));
        play_part_of(each);
    }
    set(last);
    expect_part_heard();
    play_to_the_end();
    expect_whole(last);
}

TEST_F(succession, a_track_takes_the_place_of_a_short_one_that_repeats)
{
    const std::string second = make({22050, 1});
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_set_audio_track(player.handle(), make({48000, 2}, "0.01"));
    qz_audio_play(player.handle());
    wait_for("playing");
    set(second);
    qz_audio_set_repeat(player.handle(), false);
    play_to_the_end();
    expect_whole(second);
}

TEST_F(succession, a_missing_file_ends_the_playing_one_and_is_told_once)
{
    const std::string second = make({22050, 1});
    const std::string error = error_of(path("none.mp3"));
    play_part_of({48000, 2});
    qz_audio_set_audio_track(player.handle(), path("none.mp3"));
    wait_for(error);
    set(second);
    expect_part_heard();
    play_to_the_end();
    expect_whole(second);
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "opened", error, "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(succession, a_file_without_audio_closes_the_player_and_the_next_track_opens_it)
{
    write_file(path("text.mp3"), "This is no music.\n");
    const std::string second = make({22050, 1});
    const std::string error = error_of(path("text.mp3"));
    play_part_of({48000, 2});
    qz_audio_set_audio_track(player.handle(), path("text.mp3"));
    wait_for(error);
    set(second);
    expect_part_heard();
    play_to_the_end();
    expect_whole(second);
    // The report of the file, and that of the playing that it has cut off.
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "none", error, error,
                                          "opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(succession, a_missing_file_leaves_a_loaded_track_loaded)
{
    const std::string error = error_of(path("none.mp3"));
    const std::string track = make({48000, 2});
    set(track);
    qz_audio_set_audio_track(player.handle(), path("none.mp3"));
    wait_for(error);
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", error, "none"));
}
