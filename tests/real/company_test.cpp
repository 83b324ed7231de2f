#include "support.h"
#include "support_decoder.h"
#include "support_player.h"

#include <mpg123.h>

#include <memory>

using ::testing::ElementsAre;

namespace
{

struct part {
    std::string track;
    decoded_track decoded;
    std::unique_ptr<told_player> player = std::make_unique<told_player>();
};

/// Several players at once.
class company : public real_test
{
protected:
    company() { write_sound_to(path("%r-%c.wav")); }

    /// Each has a format of its own, and so a file of its own.
    [[nodiscard]] std::vector<part> make_parts() const
    {
        std::vector<part> parts;
        for (const int rate : {48000, 22050, 44100, 8000}) {
            for (const int channels : {1, 2}) {
                parts.push_back(make_part(rate, channels));
            }
        }
        return parts;
    }

    [[nodiscard]] part make_part(int rate, int channels) const
    {
        track_settings settings;
        settings.name = std::to_string(rate) + "-" + std::to_string(channels) + ".mp3";
        settings.rate = rate;
        settings.channels = channels;
        part made;
        made.track = make_track(settings);
        made.decoded = decode(made.track);
        return made;
    }
};

} // namespace

TEST_F(company, players_that_open_and_play_at_once_do_not_disturb_each_other)
{
    const std::vector<part> parts = make_parts();
    for (const part& each : parts) {
        qz_audio_set_repeat(each.player->handle(), true);
        qz_audio_set_audio_track(each.player->handle(), each.track);
        qz_audio_play(each.player->handle());
    }
    for (const part& each : parts) {
        EXPECT_TRUE(each.player->waits_for("playing"));
    }
    // Here all of them play.
    for (const part& each : parts) {
        qz_audio_set_repeat(each.player->handle(), false);
    }
    for (const part& each : parts) {
        SCOPED_TRACE(each.track);
        EXPECT_TRUE(each.player->waits_for("stopped"));
        EXPECT_THAT(each.player->end(),
                    ElementsAre("opened", "loaded", "playing", "stopped", "none"));
        const std::string heard = written_samples(each.decoded.rate, each.decoded.channels);
        const auto rounds = static_cast<int>(heard.size() / each.decoded.samples.size());
        EXPECT_TRUE(same_samples(heard, decode(each.track, 1.0, rounds).samples));
    }
}

TEST_F(company, players_that_open_at_once_do_not_disturb_each_other)
{
    for (int round = 0; round < 30; ++round) {
        std::vector<std::unique_ptr<told_player>> players(8);
        for (auto& each : players) {
            each = std::make_unique<told_player>();
        }
        for (const auto& each : players) {
            qz_audio_open(each->handle());
        }
        for (const auto& each : players) {
            EXPECT_TRUE(each->waits_for("opened"));
            EXPECT_THAT(each->end(), ElementsAre("opened", "none"));
        }
    }
}
