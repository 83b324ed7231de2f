#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include <mpg123.h>

#include <cstdlib>
#include <set>

using ::testing::Contains;
using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace
{

/// A file of the media folder, and what a bare loop of the decoder makes of it on every machine.
struct medium {
    const char* name;
    std::size_t bytes;
    int result = MPG123_DONE;
    int error = MPG123_OK;
};

void PrintTo(const medium& file, std::ostream* stream)
{
    *stream << file.name;
}

const std::vector<medium> playable{
    {"exo__bear-vbr-xing-header.mp3", 534'528},
    {"lofty-rs__full_test.mp2", 276'480},
    {"minimp3__M2L3_bitrate_22_all.bit", 548'352},
    {"minimp3__l1-fl3.bit", 75'264},
    {"minimp3__l1-fl4.bit", 37'632},
    {"minimp3__l2-fl11.bit", 225'792},
    {"minimp3__l2-fl13.bit", 112'896},
    {"minimp3__l2-test32.bit", 290'304},
    {"minimp3__l3-he_48khz.bit", 345'600},
    {"minimp3__l3-he_free.bit", 313'344},
    {"minimp3__l3-nonstandard-compl-sideinfo-size.bit", 497'664},
    {"minimp3__l3-nonstandard-sin1k0db_lame_vbrtag.bit", 1'451'520},
    {"minimp3__l3-sin1k0db.bit", 1'460'736},
    {"minimp3__l3-test45.bit", 1'893'888},
    {"mp3agic__v24tagswithalbumimage.mp3", 17'640},
    {"tinytag__vbr44stereo.mp3", 1'594'656},
    {"tinytag__vbr8.mp3", 144'640},
};

const std::vector<medium> without_a_sample{
    {"tinytag__vbr_xing_header_short.mp3", 0},
};

const std::vector<medium> broken{
    {"minimp3__l3-nonstandard-big-iscf.bit", 4'608, MPG123_ERR, MPG123_RESYNC_FAIL},
    {"minimp3__l3-nonstandard-he_44_48khz.bit", 944'640, MPG123_ERR, MPG123_BAD_OUTFORMAT},
};

const std::vector<medium> no_audio{
    {"lofty-rs__crash-9b17818b6404b1c4b9f89c09dc11e915b96cafc6", 0, MPG123_DONE, MPG123_ERR_READER},
    {"minimp3__l3-nonstandard-id3v2-only.bit", 0, MPG123_DONE, MPG123_ERR_READER},
    {"minimp3__l3-nonstandard-small.bit", 0, MPG123_DONE, MPG123_ERR_READER},
    {"mp3agic__notanmp3.mp3", 0, MPG123_DONE, MPG123_ERR_READER},
    {"tinytag__id3v1_does_not_overwrite_id3v2.mp3", 0, MPG123_ERR, MPG123_ERR_READER},
};

fs::path media_folder()
{
    const char* folder = std::getenv("QZ_MEDIA"); // NOLINT(concurrency-mt-unsafe)
    return folder != nullptr ? folder : QZ_MEDIA;
}

class media : public real_test
{
protected:
    void SetUp() override
    {
        if (!fs::is_directory(media_folder())) {
            GTEST_SKIP() << "there is no media folder; the variable QZ_MEDIA can name one";
        }
        write_sound_to(path("%r-%c.wav"));
    }

    static std::string file(const medium& wanted) { return media_folder() / wanted.name; }

    void expect_written(const decoded_track& decoded) const
    {
        EXPECT_TRUE(same_samples(written_samples(decoded.rate, decoded.channels), decoded.samples));
    }

    told_player player;
};

class media_file : public media, public ::testing::WithParamInterface<medium>
{
protected:
    void SetUp() override
    {
        media::SetUp();
        if (IsSkipped()) {
            return;
        }
        track = file(GetParam());
        decoded = decode(track);
        ASSERT_EQ(decoded.samples.size(), GetParam().bytes);
        ASSERT_EQ(decoded.result, GetParam().result);
        if (GetParam().error != MPG123_OK) {
            ASSERT_EQ(decoded.error, GetParam().error);
        }
    }

    std::string track;
    decoded_track decoded;
};

using media_playable = media_file;
using media_without_a_sample = media_file;
using media_broken = media_file;
using media_no_audio = media_file;

std::string test_name(const ::testing::TestParamInfo<medium>& info)
{
    std::string name = info.param.name;
    for (char& character : name) {
        if (std::isalnum(static_cast<unsigned char>(character)) == 0) {
            character = '_';
        }
    }
    return name;
}

INSTANTIATE_TEST_SUITE_P(files, media_playable, ::testing::ValuesIn(playable), test_name);
INSTANTIATE_TEST_SUITE_P(files, media_without_a_sample, ::testing::ValuesIn(without_a_sample),
                         test_name);
INSTANTIATE_TEST_SUITE_P(files, media_broken, ::testing::ValuesIn(broken), test_name);
INSTANTIATE_TEST_SUITE_P(files, media_no_audio, ::testing::ValuesIn(no_audio), test_name);

} // namespace

TEST_P(media_playable, sounds_as_the_decoder_decodes_it)
{
    EXPECT_TRUE(player.plays(track));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    expect_written(decoded);
}

TEST_P(media_playable, repeats_without_a_seam)
{
    sound_pipe pipe(path("pipe"));
    write_sound_to(path("pipe"), "raw");
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_set_audio_track(player.handle(), track);
    qz_audio_play(player.handle());
    EXPECT_TRUE(pipe.listens_to(2 * decoded.samples.size() + 1));
    qz_audio_stop(player.handle(), nullptr);
    EXPECT_TRUE(pipe.listens_until([&] { return player.tells("stopped"); }));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));

    const std::string heard = pipe.take();
    const auto rounds = static_cast<int>(heard.size() / decoded.samples.size()) + 1;
    EXPECT_TRUE(is_beginning(heard, decode(track, 1.0, rounds).samples));
}

TEST_P(media_without_a_sample, plays_and_stops_at_once)
{
    EXPECT_TRUE(player.plays(track));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    expect_written(decoded);
}

TEST_P(media_broken, sounds_up_to_the_error_and_tells_it_twice)
{
    const std::string error = "error " + std::to_string(MPG123_ERR);
    EXPECT_TRUE(player.plays(track));
    EXPECT_THAT(player.end(),
                ElementsAre("opened", "loaded", "playing", error, error, "stopped", "none"));
    expect_written(decoded);
}

TEST_P(media_no_audio, is_refused_with_the_code_of_the_decoder)
{
    const std::string error = "error " + std::to_string(decoded.error);
    qz_audio_set_audio_track(player.handle(), track);
    EXPECT_TRUE(player.waits_for(error));
    EXPECT_THAT(player.end(), ElementsAre("opened", "none", error));
}

TEST_F(media, is_listed_here_in_full)
{
    std::set<std::string> listed{"README.md"};
    for (const auto& files : {playable, without_a_sample, broken, no_audio}) {
        for (const medium& each : files) {
            listed.insert(each.name);
        }
    }
    std::set<std::string> found;
    for (const fs::directory_entry& each : fs::directory_iterator(media_folder())) {
        found.insert(each.path().filename());
    }
    EXPECT_EQ(found, listed);
}

TEST_F(media, sounds_on_one_player_as_on_a_fresh_one)
{
    for (const medium& each : playable) {
        SCOPED_TRACE(each.name);
        ASSERT_TRUE(player.plays(file(each)));
        expect_written(decode(file(each)));
    }
    EXPECT_THAT(player.end(), Contains("opened").Times(1)) << "the player has begun anew";
}
