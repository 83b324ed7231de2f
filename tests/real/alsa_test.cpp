#include "alsa_faults.h"
#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "program.h"
#include "wav_file.h"

#include <mpg123.h>
#include <out123.h>

#include <cerrno>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::Values;

namespace
{

/// A device of ALSA that fails, and what becomes of a player then.
class alsa : public real_test
{
protected:
    alsa()
    {
        write_sound_to(path("%r-%c"), "raw");
        whole = decode(track);
    }
    ~alsa() override { mend_alsa(); }

    void SetUp() override { ASSERT_EQ(whole.result, MPG123_DONE); }

    [[nodiscard]] std::string heard() const { return read_file(path("44100-2")); }

    /// Plays another track, on the device as it is without its faults.
    void expect_good_track_plays()
    {
        mend_alsa();
        track_settings settings;
        settings.name = "good.mp3";
        settings.rate = 22050;
        settings.channels = 1;
        const std::string good = make_track(settings);
        EXPECT_TRUE(player.plays(good));
        EXPECT_TRUE(same_samples(read_file(path("22050-1")), decode(good).samples));
    }

    const std::string track = make_track({});
    decoded_track whole;
    told_player player;
};

struct error {
    const char* name;
    int code;
};

void PrintTo(const error& error, std::ostream* stream)
{
    *stream << error.name;
}

std::string error_name(const ::testing::TestParamInfo<error>& info)
{
    return info.param.name;
}

class alsa_lasting : public alsa, public ::testing::WithParamInterface<error>
{
};

class alsa_passing : public alsa, public ::testing::WithParamInterface<error>
{
};

/// A call that fails while the device is opened or started, and what the player tells until then.
struct start_fault {
    const char* name;
    alsa_fault fault;
    std::vector<std::string> words;
};

void PrintTo(const start_fault& fault, std::ostream* stream)
{
    *stream << fault.name;
}

std::vector<start_fault> start_faults()
{
    const std::vector<std::string> to_open{"error " + std::to_string(OUT123_BAD_DRIVER)};
    const std::vector<std::string> for_track{"opened", "none", "error 0"};
    const std::vector<std::string> for_play{"opened", "loaded", "none",
                                            "error " + std::to_string(OUT123_DEV_OPEN)};
    return {{"open", {"snd_pcm_open", 0, 1, -ENODEV}, to_open},
            {"open_for_track", {"snd_pcm_open", 1, 1, -EBUSY}, for_track},
            {"parameters_for_track", {"snd_pcm_hw_params", 0, 1, -EIO}, for_track},
            {"prepare_for_track", {"snd_pcm_prepare", 0, 1, -ENODEV}, for_track},
            {"open_for_play", {"snd_pcm_open", 2, 1, -ENODEV}, for_play},
            {"parameters_for_play", {"snd_pcm_hw_params", 1, 1, -EIO}, for_play},
            {"prepare_for_play", {"snd_pcm_prepare", 2, 1, -ENODEV}, for_play}};
}

class alsa_start : public alsa, public ::testing::WithParamInterface<start_fault>
{
};

/// In the middle of a track: the device takes no more until the test listens.
class alsa_midway : public alsa
{
protected:
    void play_to_the_middle()
    {
        qz_audio_set_audio_track(player.handle(), long_track);
        qz_audio_play(player.handle());
        ASSERT_TRUE(wait_until([this] { return pipe->is_full(); }));
    }

    void listen_until(const std::string& word)
    {
        ASSERT_TRUE(pipe->listens_until([&] { return player.tells(word); })) << word;
    }

    const std::string long_track = make_track({"long.mp3", 44100, 2, "3"});
    std::optional<sound_pipe> pipe{std::in_place, path("44100-2")};
};

class alsa_end : public alsa_midway, public ::testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_P(alsa_lasting, errors_let_the_track_run_out_unheard)
{
    break_alsa({"snd_pcm_writei", 10, for_ever, -GetParam().code});
    EXPECT_TRUE(player.plays(track));
    EXPECT_GT(alsa_failures(), 0);
    EXPECT_TRUE(is_beginning(heard(), whole.samples));
    EXPECT_LT(heard().size(), whole.samples.size());
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, alsa_lasting,
                         Values(error{"no_device", ENODEV}, error{"io", EIO},
                                error{"bad_state", EBADFD}, error{"no_space", ENOSPC}),
                         error_name);

TEST_P(alsa_passing, errors_lose_no_sample)
{
    break_alsa({"snd_pcm_writei", 5, 3, -GetParam().code});
    EXPECT_TRUE(player.plays(track));
    EXPECT_EQ(alsa_failures(), 3);
    EXPECT_TRUE(same_samples(heard(), whole.samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, alsa_passing,
                         Values(error{"underrun", EPIPE}, error{"suspended", ESTRPIPE},
                                error{"interrupted", EINTR}),
                         error_name);

TEST_P(alsa_start, that_fails_is_told_and_the_next_play_begins_anew)
{
    std::vector<std::string> words = GetParam().words;
    break_alsa(GetParam().fault);
    qz_audio_set_audio_track(player.handle(), track);
    if (words[1 % words.size()] == "loaded") {
        qz_audio_play(player.handle());
    }
    ASSERT_TRUE(player.waits_for(words.back()));
    EXPECT_EQ(alsa_failures(), 1);
    expect_good_track_plays();
    words.insert(words.end(), {"opened", "loaded", "playing", "stopped", "none"});
    EXPECT_THAT(player.end(), ElementsAreArray(words));
}

INSTANTIATE_TEST_SUITE_P(each, alsa_start, ::testing::ValuesIn(start_faults()),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(alsa_midway, a_device_that_is_gone_after_a_pause_lets_the_rest_run_out_unheard)
{
    play_to_the_middle();
    qz_audio_pause(player.handle());
    listen_until("paused");
    break_alsa({"snd_pcm_open", 0, for_ever, -ENODEV});
    qz_audio_play(player.handle());
    ASSERT_TRUE(player.waits_for("stopped"));
    EXPECT_GT(alsa_failures(), 0);
    EXPECT_TRUE(is_beginning(pipe->take(), decode(long_track).samples));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "paused", "playing",
                                          "stopped", "loaded", "playing", "stopped", "none"));
}

TEST_F(alsa_midway, a_listener_that_goes_away_lets_the_track_run_out_unheard)
{
    play_to_the_middle();
    pipe.reset();
    EXPECT_TRUE(player.waits_for("stopped"));
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_P(alsa_end, that_fails_is_not_told)
{
    break_alsa({GetParam(), 0, for_ever, -ENODEV});
    play_to_the_middle();
    qz_audio_pause(player.handle());
    listen_until("paused");
    qz_audio_play(player.handle());
    listen_until("playing");
    qz_audio_stop(player.handle(), nullptr);
    listen_until("stopped");
    EXPECT_GT(alsa_failures(), 0);
    expect_good_track_plays();
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "paused", "playing",
                                          "stopped", "loaded", "playing", "stopped", "none"));
}

INSTANTIATE_TEST_SUITE_P(each, alsa_end, Values("snd_pcm_drop", "snd_pcm_close"),
                         [](const auto& tested) { return std::string(tested.param).substr(8); });
