#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "program.h"
#include "wav_file.h"

#include <mpg123.h>

using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace
{

/// A file that changes while it plays. The player waits in the middle of it meanwhile.
class changing_file : public real_test
{
protected:
    changing_file()
    {
        write_sound_to(path("%r-%c"), "raw");
        track_settings settings;
        settings.seconds = "10";
        settings.coding = {"-b", "64", "-t"}; // Nothing in the file says how long it is.
        track = make_track(settings);
        whole = decode(track);
    }

    void SetUp() override
    {
        ASSERT_EQ(whole.result, MPG123_DONE);
        qz_audio_set_audio_track(player.handle(), track);
        qz_audio_play(player.handle());
        ASSERT_TRUE(player.waits_for("playing"));
        ASSERT_TRUE(wait_until([this] { return pipe.is_full(); }));
    }

    /// Listens to what is left of the track.
    void play_on()
    {
        ASSERT_TRUE(pipe.listens_until([this] { return player.tells("stopped"); }));
        heard = pipe.take();
    }

    void expect_good_track_plays()
    {
        track_settings settings;
        settings.name = "good.mp3";
        settings.rate = 22050;
        settings.channels = 1;
        const std::string good = make_track(settings);
        EXPECT_TRUE(player.plays(good));
        EXPECT_TRUE(same_samples(read_file(path("22050-1")), decode(good).samples));
    }

    /// Far behind what the decoder has read when the pipe is full.
    static constexpr std::size_t middle = 40'000;

    const std::string decode_error = "error " + std::to_string(MPG123_ERR);
    std::string track;
    std::string heard;
    decoded_track whole;
    sound_pipe pipe{path("44100-2")};
    told_player player;
};

} // namespace

TEST_F(changing_file, that_is_deleted_plays_whole_once_more)
{
    fs::remove(track);
    play_on();
    EXPECT_TRUE(same_samples(heard, whole.samples));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(changing_file, that_another_takes_the_place_of_plays_whole_until_it_is_set_again)
{
    track_settings settings;
    settings.name = "other.mp3";
    settings.rate = 32000;
    const std::string other = make_track(settings);
    fs::rename(other, track);
    play_on();
    EXPECT_TRUE(same_samples(heard, whole.samples));

    EXPECT_TRUE(player.plays(track));
    EXPECT_TRUE(same_samples(read_file(path("32000-2")), decode(track).samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(changing_file, that_is_cut_within_a_frame_ends_there_with_an_error)
{
    fs::resize_file(track, middle);
    const decoded_track cut = decode(track);
    play_on();
    EXPECT_TRUE(is_beginning(heard, whole.samples));
    EXPECT_TRUE(same_samples(heard, cut.samples));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", decode_error, decode_error,
                                          "stopped", "loaded", "playing", "stopped", "none"));
}

TEST_F(changing_file, that_loses_all_its_bytes_ends)
{
    fs::resize_file(track, 0);
    play_on();
    EXPECT_TRUE(is_beginning(heard, whole.samples));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(changing_file, whose_rest_turns_into_zeros_ends_there_with_an_error)
{
    const auto size = fs::file_size(track);
    fs::resize_file(track, middle);
    fs::resize_file(track, size);
    play_on();
    EXPECT_TRUE(is_beginning(heard, whole.samples));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", decode_error, decode_error,
                                          "stopped", "loaded", "playing", "stopped", "none"));
}
