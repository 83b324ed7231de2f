#include "on_threads.h"
#include "players_test.h"

#include <algorithm>
#include <vector>

namespace
{

class ManyPlayersTest : public PlayersTest
{
protected:
    std::vector<qz_audio_ptr> make_players(std::size_t count)
    {
        std::vector<qz_audio_ptr> players(count);
        std::generate(players.begin(), players.end(), [this] { return make_player(); });
        return players;
    }
};

} // namespace

TEST_F(ManyPlayersTest, ThousandOneAfterTheOther)
{
    for (int number = 0; number < 1000; ++number) {
        destroy(make_player());
    }
}

TEST_F(ManyPlayersTest, ThousandByEightThreads)
{
    on_threads(8, [this](unsigned) {
        for (int number = 0; number < 125; ++number) {
            const qz_audio_ptr player = make_player();
            qz_audio_set_volume(player, 50);
            destroy(player);
        }
    });
}

TEST_F(ManyPlayersTest, ThousandAliveAtOnce)
{
    const auto threads = thread_count();
    const auto players = make_players(1000);
    EXPECT_EQ(thread_count(), threads + 1000);
    for (const auto& player : players) {
        destroy(player);
    }
}

TEST_F(ManyPlayersTest, TwoHundredPlayingAtOnce)
{
    const auto players = make_players(200);
    std::vector<status_log> logs(players.begin(), players.end());
    for (const auto& player : players) {
        play_for_ever(player);
    }
    for (auto& log : logs) {
        ASSERT_TRUE(log.wait_for(qz_audio_status_playing));
    }
    for (const auto& player : players) {
        EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_status_playing);
        qz_audio_set_volume(player, 50);
        destroy(player);
    }
    for (auto& log : logs) {
        ASSERT_TRUE(log.wait_for(qz_audio_status_none));
    }
}

TEST_F(ManyPlayersTest, EightOpeningAtOnce)
{
    for (int round = 0; round < 25; ++round) {
        on_threads(8, [this](unsigned) {
            const qz_audio_ptr player = make_player();
            status_log log(player);
            qz_audio_open(player);
            EXPECT_TRUE(log.wait_for(qz_audio_status_opened));
            destroy(player);
            EXPECT_TRUE(log.wait_for(qz_audio_status_none));
        });
    }
}

TEST_F(ManyPlayersTest, TwoThatPlayToTheirEndsAtOnceAgainAndAgain)
{
    on_threads(2, [this](unsigned) {
        const qz_audio_ptr player = make_player();
        status_log log(player);
        for (int round = 0; round < 25; ++round) {
            qz_audio_set_audio_track(player,
                                     round % 2 == 0 ? silent_track() : other_silent_track());
            qz_audio_play(player);
            EXPECT_TRUE(log.wait_for(qz_audio_status_stopped));
        }
        destroy(player);
    });
}
