#include "support.h"
#include "support_decoder.h"
#include "support_player.h"

#include "process.h"

#include <mpg123.h>
#include <out123.h>

#include <algorithm>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using ::testing::ElementsAreArray;

namespace
{

/// From construction to destruction, the process may have only so many more descriptors.
class few_descriptors
{
public:
    explicit few_descriptors(std::size_t count)
    {
        getrlimit(RLIMIT_NOFILE, &before_);
        rlimit lowered = before_;
        lowered.rlim_cur = std::min<rlim_t>(before_.rlim_cur, 256);
        setrlimit(RLIMIT_NOFILE, &lowered);
        for (int taken = 0; (taken = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) {
            taken_.push_back(taken);
        }
        for (std::size_t given = 0; given < count; ++given) {
            close(taken_.back());
            taken_.pop_back();
        }
    }
    ~few_descriptors()
    {
        std::for_each(taken_.begin(), taken_.end(), close);
        setrlimit(RLIMIT_NOFILE, &before_);
    }
    few_descriptors(const few_descriptors&) = delete;
    few_descriptors& operator=(const few_descriptors&) = delete;

private:
    rlimit before_{};
    std::vector<int> taken_;
};

/// A moment at which few descriptors are left, and what a player has reported until then.
struct moment {
    const char* name;
    bool is_open;
    std::size_t descriptors;
    std::vector<std::string> words;
};

void PrintTo(const moment& moment, std::ostream* stream)
{
    *stream << moment.name;
}

std::vector<moment> moments()
{
    return {{"open", false, 0, {"error " + std::to_string(OUT123_BAD_DRIVER)}},
            {"load", true, 0, {"opened", "error " + std::to_string(MPG123_BAD_FILE)}},
            {"start_of_the_output", true, 1, {"opened", "none", "error 0"}}};
}

class descriptors : public real_test, public ::testing::WithParamInterface<moment>
{
protected:
    descriptors()
    {
        write_sound_to(path("%r-%c.wav"));
        told_player first; // Leaves what stays with the process.
        EXPECT_TRUE(first.plays(track));
    }

    const std::string track = make_track({});
};

} // namespace

TEST_P(descriptors, that_are_exhausted_are_told_and_none_is_lost)
{
    const auto before = descriptor_count();
    told_player player;
    std::vector<std::string> words = GetParam().words;
    if (GetParam().is_open) {
        qz_audio_open(player.handle());
        ASSERT_TRUE(player.waits_for("opened"));
    }
    {
        const few_descriptors few(GetParam().descriptors);
        qz_audio_set_audio_track(player.handle(), track);
        ASSERT_TRUE(player.waits_for(words.back()));
    }
    const bool opens_again = qz_audio_get_playback_status(player.handle()) == qz_audio_status_none;
    EXPECT_TRUE(player.plays(track));
    EXPECT_TRUE(same_samples(written_samples(44100, 2), decode(track).samples));
    if (opens_again) {
        words.emplace_back("opened");
    }
    words.insert(words.end(), {"loaded", "playing", "stopped", "none"});
    EXPECT_THAT(player.end(), ElementsAreArray(words));
    EXPECT_EQ(descriptor_count(), before);
}

INSTANTIATE_TEST_SUITE_P(at, descriptors, ::testing::ValuesIn(moments()),
                         [](const auto& tested) { return tested.param.name; });
