#include "installed_modules.h"
#include "support.h"
#include "support_decoder.h"
#include "support_player.h"

#include <mpg123.h>
#include <out123.h>

#include <memory>

using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace
{

using output = std::unique_ptr<out123_handle, decltype(&out123_del)>;

/// Outputs that cannot be opened or started, and what becomes of a player then.
class failure : public real_test
{
protected:
    /// What a machine has without libout123's modules.
    void take_modules_away() const
    {
        fs::create_directory(path("empty"));
        set_environment("MPG123_MODDIR", path("empty"));
    }

    static output open_output()
    {
        output bare(out123_new(), &out123_del);
        EXPECT_EQ(out123_open(bare.get(), nullptr, nullptr), 0);
        return bare;
    }

    static std::string code_of(const output& bare)
    {
        return "error " + std::to_string(out123_errcode(bare.get()));
    }

    const std::string track = make_track({});
    told_player player;
};

} // namespace

TEST_F(failure, to_find_a_module_is_told_and_the_next_play_opens_again)
{
    take_modules_away();
    const output bare(out123_new(), &out123_del);
    ASSERT_NE(out123_open(bare.get(), nullptr, nullptr), 0);
    const std::string error = code_of(bare);

    qz_audio_set_audio_track(player.handle(), track);
    ASSERT_TRUE(player.waits_for(error));
    EXPECT_EQ(qz_audio_get_playback_status(player.handle()), qz_audio_status_none);
    EXPECT_EQ(qz_audio_get_current_track(player.handle()), track);

    write_sound_to(path("%r-%c.wav"));
    qz_audio_play(player.handle());
    EXPECT_TRUE(player.waits_for("stopped"));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    EXPECT_THAT(player.end(), ElementsAre(error, "opened", "loaded", "playing", "stopped", "none"));
}

TEST_F(failure, to_find_a_module_in_the_bin_path_is_told)
{
    write_sound_to(path("%r-%c.wav"));
    set_environment("MPG123_MODDIR", std::nullopt);
    fs::create_directories(path("bin/plugins"));
    qz_audio_set_bin_path(path("bin"));
    const output bare(out123_new(), &out123_del);
    out123_param(bare.get(), OUT123_BINDIR, 0, 0.0, path("bin").c_str());
    ASSERT_NE(out123_open(bare.get(), nullptr, nullptr), 0);
    qz_audio_set_audio_track(player.handle(), track);
    ASSERT_TRUE(player.waits_for(code_of(bare)));

    link_output_module(path("bin/plugins"), "alsa");
    qz_audio_play(player.handle());
    EXPECT_TRUE(player.waits_for("stopped"));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    qz_audio_set_bin_path("./bin/");
}

TEST_F(failure, to_start_the_output_for_a_track_closes_the_player)
{
    write_sound_to(path("%r-%c.wav"));
    qz_audio_open(player.handle());
    ASSERT_TRUE(player.waits_for("opened"));
    take_device_away();
    qz_audio_set_audio_track(player.handle(), track);
    // The code is the player's own from before, not the output's.
    ASSERT_TRUE(player.waits_for("error 0"));
    EXPECT_THAT(player.end(), ElementsAre("opened", "none", "error 0"));
}

TEST_F(failure, to_start_the_output_for_a_play_closes_the_player_and_the_next_play_opens_again)
{
    write_sound_to(path("%r-%c.wav"));
    qz_audio_set_audio_track(player.handle(), track);
    ASSERT_TRUE(player.waits_for("loaded"));
    const output bare = open_output();
    take_device_away();
    ASSERT_NE(out123_start(bare.get(), 44100, 2, MPG123_ENC_SIGNED_16), 0);
    const std::string error = code_of(bare);
    qz_audio_play(player.handle());
    ASSERT_TRUE(player.waits_for(error));

    write_sound_to(path("%r-%c.wav"));
    qz_audio_play(player.handle());
    EXPECT_TRUE(player.waits_for("stopped"));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "none", error, "opened", "loaded",
                                          "playing", "stopped", "none"));
}

TEST_F(failure, to_write_while_playing_is_not_told)
{
    write_sound_to("/dev/full");
    EXPECT_TRUE(player.plays(track));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
}
