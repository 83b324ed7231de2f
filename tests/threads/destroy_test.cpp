#include "captured_output.h"
#include "on_threads.h"
#include "players_test.h"

#include <algorithm>
#include <vector>

namespace
{

class DestroyTest : public PlayersTest, public testing::WithParamInterface<qz_audio_status>
{
protected:
    qz_audio_ptr make_player_in_status()
    {
        qz_audio_ptr player = make_player();
        bring_to(player, GetParam());
        return player;
    }

    [[nodiscard]] bool wait_for_end()
    {
        return wait_until([this] { return players_alive() == 0; }) && wait_for_callbacks();
    }
};

const std::string warning_start =
    "\x1b[1;35mQZ-SYSTEM**WARNING**\x1b[0;0m: CALLING DESTROY MULTIPLE TIMES IS NOT AN OPTION ";

std::size_t count_warnings(const std::vector<std::string>& steps)
{
    return static_cast<std::size_t>(std::count_if(steps.begin(), steps.end(), [](const auto& step) {
        return step.rfind(warning_start, 0) == 0;
    }));
}

} // namespace

TEST_P(DestroyTest, EndsThePlayer)
{
    destroy(make_player_in_status());
    EXPECT_TRUE(wait_for_end());
}

TEST_P(DestroyTest, EndsThePlayerOnlyWithTheLastHandle)
{
    const qz_audio_ptr player = make_player_in_status();
    destroy(player);
    EXPECT_TRUE(wait_until([&player] { return player.use_count() == 1; }));
    EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_status_none);
}

TEST_P(DestroyTest, SecondTimeOnlyWarns)
{
    captured_output output;
    qz_audio_ptr player = make_player_in_status();
    destroy(player);
    destroy(player);
    player.reset();
    ASSERT_TRUE(wait_for_end());
    EXPECT_EQ(count_warnings(output.steps()), 1U);
}

TEST_P(DestroyTest, ByEightThreadsAtOnceHappensOnce)
{
    captured_output output;
    qz_audio_ptr player = make_player_in_status();
    on_threads(8, [&player](unsigned) { destroy(player); });
    player.reset();
    ASSERT_TRUE(wait_for_end());
    EXPECT_EQ(count_warnings(output.steps()), 7U);
}

TEST_P(DestroyTest, AgainstRequestsOfOtherThreads)
{
    const qz_audio_ptr player = make_player_in_status();
    on_threads(4, [&player](unsigned thread) {
        for (int round = 0; round < 50; ++round) {
            play_for_ever(player);
            qz_audio_set_volume(player, round);
            qz_audio_stop(player, [](const qz_audio_ptr&) {});
            if (thread == 0 && round == 10) {
                destroy(player);
            }
        }
    });
}

TEST_P(DestroyTest, WhileAFadeRuns)
{
    const qz_audio_ptr player = make_player_in_status();
    qz_audio_set_audio_volume_decrement_timeout(player, 0);
    qz_audio_set_audio_volume_decrement_step(player, 0);
    event faded;
    qz_audio_on_volume_change(player, [&faded](const qz_audio_ptr&, int) { faded.set(); });
    // A fade that is asked for just when the track starts over is dropped.
    ASSERT_TRUE(wait_until([&] {
        qz_audio_volume_decrement_timeout_start(player, 10);
        return faded.is_set();
    }));
    destroy(player);
    EXPECT_TRUE(wait_until([&player] { return player.use_count() == 1; }));
    ASSERT_TRUE(wait_for_callbacks());
}

INSTANTIATE_TEST_SUITE_P(In, DestroyTest, testing::ValuesIn(all_statuses()),
                         [](const auto& tested) { return status_name(tested.param); });
