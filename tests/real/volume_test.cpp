#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>

using ::testing::ElementsAre;

namespace
{

/// Volumes that are set before the track sounds.
class volume : public real_test
{
protected:
    volume() { write_sound_to(path("%r-%c.wav")); }

    [[nodiscard]] std::string written() const { return written_samples(44100, 2); }

    const std::string track = make_track({});
    told_player player;
};

class volume_of_silence : public volume, public ::testing::WithParamInterface<int>
{
};

std::string test_name(const ::testing::TestParamInfo<int>& info)
{
    const auto size = std::to_string(std::abs(static_cast<long>(info.param)));
    return (info.param < 0 ? "minus_" : "") + size;
}

std::vector<std::int16_t> numbers(const std::string& samples)
{
    std::vector<std::int16_t> all(samples.size() / sizeof(std::int16_t));
    std::memcpy(all.data(), samples.data(), samples.size());
    return all;
}

constexpr std::int16_t lowest = std::numeric_limits<std::int16_t>::min();
constexpr std::int16_t highest = std::numeric_limits<std::int16_t>::max();

/// Volumes that change in the middle of a long track, which waits for the test to listen.
class volume_while_playing : public real_test
{
protected:
    volume_while_playing()
    {
        write_sound_to(path("pipe"), "raw");
        qz_audio_set_audio_track(player.handle(), track);
        qz_audio_play(player.handle());
    }

    [[nodiscard]] std::string make_long_track() const
    {
        track_settings settings;
        settings.seconds = "30";
        return make_track(settings);
    }

    /// Listens to more than the pipe and the device can hold of what was played before.
    void listen_to_a_part() { ASSERT_TRUE(pipe.listens_to(200'000)); }

    void listen_until(const std::string& word)
    {
        ASSERT_TRUE(pipe.listens_until([&] { return player.tells(word); })) << word;
    }

    void stop()
    {
        qz_audio_stop(player.handle(), nullptr);
        listen_until("stopped");
    }

    /// What was heard must be the track at these volumes, one after the other, with each change between
    /// two samples.
    void expect_heard(const std::vector<double>& volumes)
    {
        const std::string heard = pipe.take();
        std::size_t reached = 0;
        for (const double each : volumes) {
            const std::size_t length = equal_length(heard, decode(track, each).samples, reached);
            EXPECT_GT(length, 0U) << each << " is not heard at byte " << reached;
            reached += length;
        }
        EXPECT_EQ(reached, heard.size()) << "something else is heard";
    }

    const std::string track = make_long_track();
    sound_pipe pipe{path("pipe"), 4096};
    told_player player;
};

} // namespace

TEST_F(volume, of_50_set_before_the_player_is_open_is_the_decoders_half)
{
    qz_audio_set_volume(player.handle(), 50);
    EXPECT_TRUE(player.plays(track));
    EXPECT_TRUE(same_samples(written(), decode(track, 0.5).samples));
    EXPECT_THAT(player.end(),
                ElementsAre("volume 50", "opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(volume, of_50_set_on_a_loaded_track_is_the_decoders_half)
{
    qz_audio_set_audio_track(player.handle(), track);
    qz_audio_set_volume(player.handle(), 50);
    qz_audio_play(player.handle());
    EXPECT_TRUE(player.waits_for("stopped"));
    EXPECT_TRUE(same_samples(written(), decode(track, 0.5).samples));
    EXPECT_THAT(player.end(),
                ElementsAre("opened", "loaded", "volume 50", "playing", "stopped", "none"));
}

TEST_F(volume, stays_for_the_next_track)
{
    qz_audio_set_volume(player.handle(), 50);
    EXPECT_TRUE(player.plays(track));
    track_settings other;
    other.name = "other.mp3";
    other.rate = 22050;
    other.channels = 1;
    const std::string second = make_track(other);
    EXPECT_TRUE(player.plays(second));
    EXPECT_TRUE(same_samples(written_samples(22050, 1), decode(second, 0.5).samples));
}

TEST_P(volume_of_silence, plays_nothing_but_zeros)
{
    qz_audio_set_volume(player.handle(), GetParam());
    EXPECT_TRUE(player.plays(track));
    EXPECT_TRUE(same_samples(written(), std::string(decode(track).samples.size(), '\0')));
    EXPECT_THAT(player.end(), ElementsAre("volume " + std::to_string(GetParam()), "opened",
                                          "loaded", "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, volume_of_silence,
                         ::testing::Values(0, -1, -50, std::numeric_limits<int>::min()), test_name);

TEST_F(volume, of_100000_clips_all_but_the_softest_samples)
{
    qz_audio_set_volume(player.handle(), 100'000);
    EXPECT_TRUE(player.plays(track));
    const auto loud = numbers(written());
    const auto soft = numbers(decode(track).samples);
    ASSERT_EQ(loud.size(), soft.size());
    constexpr int softest = 33; // What a thousandfold is beyond the highest; and half a step.
    for (std::size_t at = 0; at < soft.size(); ++at) {
        if (std::abs(soft[at]) > softest) {
            ASSERT_EQ(loud[at], soft[at] < 0 ? lowest : highest) << "at " << at;
        }
    }
    EXPECT_TRUE(same_samples(written(), decode(track, 1000.0).samples));
}

TEST_F(volume, that_is_the_largest_leaves_but_the_lowest_and_the_highest_sample)
{
    constexpr int largest = std::numeric_limits<int>::max();
    qz_audio_set_volume(player.handle(), largest);
    EXPECT_TRUE(player.plays(track));
    // Which of the two may have nothing to do with the sample's own sign.
    EXPECT_THAT(numbers(written()), ::testing::Each(::testing::AnyOf(lowest, highest)));
    EXPECT_TRUE(same_samples(written(), decode(track, largest / 100.0).samples));
    EXPECT_THAT(player.end(), ElementsAre("volume " + std::to_string(largest), "opened", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(volume_while_playing, is_heard_as_it_is_set)
{
    for (const int percent : {50, 120, 100}) {
        listen_to_a_part();
        qz_audio_set_volume(player.handle(), percent);
        listen_until("volume " + std::to_string(percent));
    }
    listen_to_a_part();
    stop();
    expect_heard({1.0, 0.5, 1.2, 1.0});
}

TEST_F(volume_while_playing, is_heard_in_the_steps_of_the_fades)
{
    qz_audio_set_audio_volume_decrement_step(player.handle(), 25);
    qz_audio_set_audio_volume_decrement_timeout(player.handle(), 200);
    qz_audio_set_audio_volume_increment_step(player.handle(), 20);
    qz_audio_set_audio_volume_increment_timeout(player.handle(), 200);
    listen_to_a_part();
    qz_audio_volume_decrement_timeout_start(player.handle(), 40);
    listen_until("volume 40");
    listen_to_a_part();
    qz_audio_volume_increment_timeout_start(player.handle(), 90);
    listen_until("volume 90");
    listen_to_a_part();
    stop();
    expect_heard({1.0, 0.75, 0.5, 0.4, 0.6, 0.8, 0.9});
    EXPECT_THAT(player.end(),
                ElementsAre("opened", "loaded", "playing", "volume 75", "volume 50", "volume 40",
                            "volume 60", "volume 80", "volume 90", "stopped", "none"));
}
