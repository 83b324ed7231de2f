#include "support.h"
#include "support_decoder.h"
#include "support_player.h"

#include <mpg123.h>

using ::testing::Combine;
using ::testing::ElementsAre;
using ::testing::Values;

namespace
{

struct coding {
    const char* name;
    std::vector<std::string> options;
};

void PrintTo(const coding& wanted, std::ostream* stream)
{
    *stream << wanted.name;
}

const coding constant_rate{"constant", {"-b", "64"}};
const coding variable_rate{"variable", {"-V", "4"}};
const coding without_header{"headerless", {"-b", "32", "-t"}};

class tracks : public real_test, public ::testing::WithParamInterface<std::tuple<int, int, coding>>
{
};

std::string test_name(const ::testing::TestParamInfo<std::tuple<int, int, coding>>& info)
{
    const auto& [rate, channels, coding] = info.param;
    return std::to_string(rate) + "_" + std::to_string(channels) + "_" + coding.name;
}

} // namespace

TEST_P(tracks, sound_as_the_decoder_decodes_them)
{
    const auto& [rate, channels, coding] = GetParam();
    track_settings settings;
    settings.rate = rate;
    settings.channels = channels;
    settings.coding = coding.options;
    const std::string track = make_track(settings);
    const decoded_track decoded = decode(track);
    ASSERT_EQ(decoded.result, MPG123_DONE);
    ASSERT_EQ(decoded.rate, rate);
    ASSERT_EQ(decoded.channels, channels);

    write_sound_to(path("%r-%c.wav"));
    told_player player;
    EXPECT_TRUE(player.plays(track));
    EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    EXPECT_TRUE(same_samples(written_samples(rate, channels), decoded.samples));
}

// The nine rates are those of MPEG-1, MPEG-2 and MPEG-2.5.
INSTANTIATE_TEST_SUITE_P(
    encoded, tracks,
    Combine(Values(8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000), Values(1, 2),
            Values(constant_rate, variable_rate, without_header)),
    test_name);
