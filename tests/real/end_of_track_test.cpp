#include "support_decoder.h"
#include "support_turns.h"

#include "wav_file.h"

#include <sstream>

using ::testing::AllOf;
using ::testing::Ge;
using ::testing::Le;

namespace
{

/// A device of ALSA that plays at the real rate and counts what it has played.
class end_of_track : public real_test
{
protected:
    end_of_track()
    {
        const std::string file = path("asound.conf");
        write_file(file, "pcm.!default { type paced played \"" + path("played") +
                             "\" }\nctl.!default { type null }\n");
        set_environment("ALSA_CONFIG_PATH", file);
        set_environment("ALSA_PLUGIN_DIR", QZ_PACED_SINK_FOLDER);
        use_module("alsa");
    }

    [[nodiscard]] std::size_t frames_played() const
    {
        std::istringstream numbers(read_file(path("played")));
        std::size_t sum = 0;
        for (std::size_t number = 0; numbers >> number;) {
            sum += number;
        }
        return sum;
    }

    static std::size_t frames_of(const std::string& track)
    {
        const decoded_track decoded = decode(track);
        return decoded.samples.size() / sizeof(std::int16_t) /
               static_cast<std::size_t>(decoded.channels);
    }

    void expect_all_heard(const std::string& track, std::size_t times)
    {
        ASSERT_TRUE(plays_in_turn(std::vector<std::string>(times, track)));
        const std::size_t whole = times * frames_of(track);
        EXPECT_THAT(frames_played(), AllOf(Ge(whole - times * frames_to_lose), Le(whole)));
    }
};

class end_of_one_track : public end_of_track, public ::testing::WithParamInterface<int>
{
};

} // namespace

TEST_P(end_of_one_track, is_heard)
{
    expect_all_heard(make_track(noise(GetParam(), 2)), 1);
}

INSTANTIATE_TEST_SUITE_P(of, end_of_one_track, ::testing::Values(100, 500, 1000, 3000, 5000),
                         [](const auto& tested) {
                             return std::to_string(tested.param) + "_milliseconds";
                         });

TEST_F(end_of_track, is_heard_of_each_that_the_callback_of_the_one_before_begins)
{
    expect_all_heard(make_track(noise(1000, 2)), 10);
}
