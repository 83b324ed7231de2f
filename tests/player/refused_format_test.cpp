// libmpg123 may refuse the format of a later part of a track. Rewound after that, the track must be opened again
// before it is decoded.

#include "player_test.h"

#include <gmock/gmock.h>

namespace
{

const substitute::block sound{MPG123_OK, "aaaa"};
const substitute::block refusal{MPG123_ERR, "", MPG123_BAD_OUTFORMAT};
const substitute::block other_failure{MPG123_ERR, "", MPG123_OUT_OF_MEM};

class RefusedFormatTest : public PlayerTest
{
protected:
    static void put(const std::vector<substitute::block>& blocks)
    {
        substitute::put_track("song", {blocks});
    }

    void play()
    {
        qz_audio_play(player);
        platform::run_all();
    }

    /// Whether a play opens the track again.
    bool play_reopens()
    {
        forget();
        play();
        return !calls_to("mpg123_open").empty();
    }
};

} // namespace

TEST_F(RefusedFormatTest, APlayAfterTheStopReopensTheTrackOnce)
{
    put({sound, refusal});
    play_with([] {});
    ASSERT_EQ(status(), qz_audio_status_stopped);

    put({sound});
    EXPECT_TRUE(play_reopens());
    EXPECT_EQ(calls_to("mpg123_getformat").size(), 1U);
    EXPECT_EQ(status(), qz_audio_status_stopped);
    EXPECT_FALSE(play_reopens());
    EXPECT_EQ(substitute::played(), "aaaaaaaaaaaa");
}

TEST_F(RefusedFormatTest, EveryOtherDecodeErrorLeavesTheTrackOpen)
{
    const substitute::block refusal_by_another_result{MPG123_NEW_FORMAT, "", MPG123_BAD_OUTFORMAT};
    for (const substitute::block& failure : {other_failure, refusal_by_another_result}) {
        put({sound, failure});
        play_with([] {});
        ASSERT_EQ(status(), qz_audio_status_stopped);
        EXPECT_FALSE(play_reopens()) << failure.result;
    }
}

TEST_F(RefusedFormatTest, TheApplicationsErrorTextDoesNotMatter)
{
    put({sound, other_failure});
    play_with([] {});
    std::string text = "Unable to set up output format! (code 1)";
    qz_audio_get_last_error_string(player, text);
    EXPECT_FALSE(play_reopens());
}

TEST_F(RefusedFormatTest, ATrackThatWasNotRewoundKeepsItsPlace)
{
    bring_to(qz_audio_status_paused);
    put({refusal, sound});
    qz_audio_set_audio_track(player, "song");
    play();
    ASSERT_EQ(status(), qz_audio_status_loaded);
    EXPECT_FALSE(play_reopens());
}

TEST_F(RefusedFormatTest, ARepeatedTrackIsReopenedWhereItStartsOver)
{
    qz_audio_set_repeat(player, true);
    put({refusal, sound});
    bring_to(qz_audio_status_loaded);
    play();
    ASSERT_EQ(status(), qz_audio_status_loaded);

    forget();
    put({sound});
    when_served([this] { qz_audio_stop(player, nullptr); }, 5);
    play();
    EXPECT_EQ(calls_to("mpg123_open"), lines{"mpg123_open(mh1, \"song\")"});
}

TEST_F(RefusedFormatTest, AFailedReopenIsReportedAndRetriedByTheNextPlay)
{
    put({sound, refusal});
    play_with([] {});
    observe(player);
    for (const char* failing : {"mpg123_open", "mpg123_getformat"}) {
        answer(failing, MPG123_ERR);
        answer("mpg123_errcode", MPG123_BAD_FILE);
        play();
        EXPECT_EQ(take_events(), lines{"error " + std::to_string(MPG123_BAD_FILE)}) << failing;
        EXPECT_EQ(status(), qz_audio_status_stopped);
    }
    put({sound});
    EXPECT_TRUE(play_reopens());
    EXPECT_EQ(take_events(), (lines{"status loaded", "status playing", "status stopped"}));
}

TEST_F(RefusedFormatTest, AFailedReopenOfARepeatedTrackIsRetriedByTheNextPlay)
{
    qz_audio_set_repeat(player, true);
    put({refusal, sound});
    bring_to(qz_audio_status_loaded);
    play();
    observe(player);
    answer("mpg123_open", MPG123_ERR);
    answer("mpg123_errcode", MPG123_BAD_FILE);
    play();
    EXPECT_EQ(take_events(), (lines{"status playing", "error " + std::to_string(MPG123_BAD_FILE),
                                    "status stopped"}));

    qz_audio_set_repeat(player, false);
    platform::run_all();
    put({sound});
    EXPECT_TRUE(play_reopens());
    EXPECT_FALSE(play_reopens());
}

TEST_F(RefusedFormatTest, ANewTrackForgetsIt)
{
    put({sound, refusal});
    play_with([] {});
    put({sound});
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_FALSE(play_reopens());
}
