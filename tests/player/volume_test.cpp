#include "player_test.h"

#include <limits>

namespace
{

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

std::string volume_event(int volume)
{
    return "volume " + std::to_string(volume);
}

} // namespace

class VolumeTest : public PlayerTest
{
protected:
    /// Lets one period of the default fades go by.
    static void tick()
    {
        platform::advance(std::chrono::milliseconds(500));
        platform::run_all();
    }

    /// Lets so many periods go by; returns what was told.
    lines ticks(unsigned count)
    {
        for (unsigned number = 0; number < count; ++number) {
            tick();
        }
        return take_events();
    }

    void fade_up(int target)
    {
        EXPECT_TRUE(qz_audio_volume_increment_timeout_start(player, target));
        platform::run_all();
    }

    void fade_down(int target)
    {
        EXPECT_TRUE(qz_audio_volume_decrement_timeout_start(player, target));
        platform::run_all();
    }

    /// Sets the volume and forgets that it was told.
    void start_at(int volume)
    {
        qz_audio_set_volume(player, volume);
        platform::run_all();
        take_events();
        forget();
    }
};

// Setting it at once

TEST_F(VolumeTest, IsRecordedAndReportedWithoutADecoder)
{
    observe(player);
    qz_audio_set_volume(player, 70);
    platform::run_all("audio");
    EXPECT_EQ(steps_with_threads(),
              (lines{"caller: qz_thread_service_exec(audio)", "audio: check audio_data",
                     "audio: check on_volume_change", "audio: check audio_volume",
                     "audio: qz_system_service_exec()"}));
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"volume 70"});
    EXPECT_EQ(record().volume, 70);
    EXPECT_EQ(property<int>("audio_volume"), 70);
}

TEST_F(VolumeTest, IsAppliedToTheDecoderBeforeItIsReported)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    forget();
    qz_audio_set_volume(player, 45);
    platform::run_all("audio");
    EXPECT_EQ(steps(), (lines{"qz_thread_service_exec(audio)", "check audio_data",
                              "mpg123_volume(mh1, 0.45)", "check on_volume_change",
                              "check audio_volume", "qz_system_service_exec()"}));
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"volume 45"});
}

TEST_F(VolumeTest, AnyValueIsPassedOnAsAHundredth)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    const std::vector<std::pair<int, std::string>> values{{100, "1"},
                                                          {45, "0.45"},
                                                          {1, "0.01"},
                                                          {0, "0"},
                                                          {-5, "-0.05"},
                                                          {250, "2.5"},
                                                          {33, "0.33"},
                                                          {99, "0.99"},
                                                          {lowest, "-21474836.48"},
                                                          {highest, "21474836.47"}};
    for (const auto& [volume, scale] : values) {
        forget();
        qz_audio_set_volume(player, volume);
        platform::run_all();
        EXPECT_EQ(calls_to("mpg123_volume"), lines{"mpg123_volume(mh1, " + scale + ")"});
        EXPECT_EQ(take_events(), lines{volume_event(volume)});
        EXPECT_EQ(record().volume, volume);
    }
}

TEST_F(VolumeTest, IsLeftAloneWhileThePlayerHoldsAnError)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    record().error = 5;
    take_events();
    forget();
    qz_audio_set_volume(player, 70);
    platform::run_all();
    EXPECT_EQ(steps(), (lines{"qz_thread_service_exec(audio)", "check audio_data"}));
    EXPECT_EQ(take_events(), lines{});
    EXPECT_EQ(record().volume, 100);
    EXPECT_EQ(property<int>("audio_volume"), 100);
}

TEST_F(VolumeTest, ThatTheDecoderRefusesIsReportedAndLeftAsItWas)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    forget();
    answer("mpg123_volume", MPG123_ERR);
    qz_audio_set_volume(player, 70);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"error -1"});
    EXPECT_EQ(record().error, MPG123_ERR);
    EXPECT_EQ(record().volume, 100);
    EXPECT_EQ(property<int>("audio_volume"), 100);
    EXPECT_EQ(checks("audio_volume"), std::vector<check>{});

    qz_audio_set_volume(player, 60);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{}) << "the error blocks it";
}

TEST_F(VolumeTest, IsFreeAgainAfterAStop)
{
    observe(player);
    play_with([this] {
        answer("mpg123_volume", MPG123_ERR);
        qz_audio_set_volume(player, 70); // refused
        qz_audio_set_volume(player, 60); // blocked
        qz_audio_stop(player, nullptr);
    });
    take_events();
    qz_audio_set_volume(player, 50);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"volume 50"});
}

TEST_F(VolumeTest, NeedsNoLockOfThePlayer)
{
    bring_to(qz_audio_status_opened);
    platform::watch_locks();
    forget();
    qz_audio_set_volume(player, 70);
    platform::run_all();
    for (const auto& each : calls_since()) {
        EXPECT_FALSE(each.locked && each.function == "mpg123_volume");
    }
}

// Starting a fade

TEST_F(VolumeTest, AFadeUpStartsInOrder)
{
    start_at(50);
    platform::watch_locks();
    fade_up(80);
    EXPECT_EQ(steps_with_threads(),
              (lines{"caller: qz_thread_service_exec(audio)", "audio: check audio_data",
                     "audio: check volume_increment_timeout", "audio: check volume_increment_step",
                     "audio: qz_thread_service_set_interval(audio, 500)"}));
    EXPECT_TRUE(calls_since().back().locked) << "so that it sees one state of the settings";
    EXPECT_FALSE(platform::is_locked(*player));
    EXPECT_NE(player->volume_interval_id, 0U);
}

TEST_F(VolumeTest, AFadeDownStartsInOrder)
{
    platform::watch_locks();
    fade_down(80);
    EXPECT_EQ(steps_with_threads(),
              (lines{"caller: qz_thread_service_exec(audio)", "audio: check audio_data",
                     "audio: check volume_decrement_timeout", "audio: check volume_decrement_step",
                     "audio: qz_thread_service_set_interval(audio, 500)"}));
    EXPECT_TRUE(calls_since().back().locked);
    EXPECT_FALSE(platform::is_locked(*player));
    EXPECT_NE(player->volume_interval_id, 0U);
}

struct fade_setting {
    const char* property;
    bool up;

    friend void PrintTo(const fade_setting& shown, std::ostream* out) { *out << shown.property; }
};

class FadeSettingTest : public VolumeTest, public testing::WithParamInterface<fade_setting>
{
protected:
    [[nodiscard]] static check reading(bool passed)
    {
        const std::string name = GetParam().property;
        return {passed,
                "qz_property_get_extract<int> (property_list,\"" + name + "\",&" + name + ")",
                name};
    }

    void fade()
    {
        record().volume = 50;
        GetParam().up ? fade_up(80) : fade_down(20);
    }
};

TEST_P(FadeSettingTest, IsReadThroughItsGuardedCall)
{
    fade();
    EXPECT_EQ(checks(GetParam().property), std::vector<check>{reading(true)});
}

TEST_P(FadeSettingTest, CountsAs0WhenItIsMissing)
{
    observe(player);
    const broken_property broken(player, GetParam().property);
    fade();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{reading(false)});
    const bool is_step = std::string(GetParam().property).find("step") != std::string::npos;
    EXPECT_EQ(calls_to("qz_thread_service_set_interval"),
              lines{is_step ? "qz_thread_service_set_interval(audio, 500)"
                            : "qz_thread_service_set_interval(audio, 0)"});
    tick();
    EXPECT_EQ(record().volume, is_step ? 50 : GetParam().up ? 60 : 40);
}

TEST_P(FadeSettingTest, CountsAs0WhenItIsOfAnotherType)
{
    const broken_property broken(player, GetParam().property, broken_property::how::mistyped);
    fade();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{reading(false)});
}

INSTANTIATE_TEST_SUITE_P(Of, FadeSettingTest,
                         testing::Values(fade_setting{"volume_increment_timeout", true},
                                         fade_setting{"volume_increment_step", true},
                                         fade_setting{"volume_decrement_timeout", false},
                                         fade_setting{"volume_decrement_step", false}),
                         [](const auto& row) { return row.param.property; });

TEST_F(VolumeTest, AFadeDoesNotStartWhileThePlayerHoldsAnError)
{
    record().volume = 50;
    record().error = 5;
    fade_up(80);
    fade_down(20);
    EXPECT_EQ(calls_to("qz_thread_service_set_interval"), lines{});
    EXPECT_EQ(player->volume_interval_id, 0U);
    EXPECT_FALSE(platform::is_locked(*player));
}

TEST_F(VolumeTest, AFadeAwayFromItsTargetIsDroppedAndARunningOneGoesOn)
{
    observe(player);
    start_at(50);
    fade_up(80);
    forget();
    fade_up(40);
    fade_down(60);
    EXPECT_EQ(calls_to("qz_thread_service_clear_interval"), lines{});
    EXPECT_EQ(calls_to("qz_thread_service_set_interval"), lines{});
    EXPECT_EQ(ticks(2), (lines{"volume 60", "volume 70"}));
}

TEST_F(VolumeTest, AFadeDownToTheCurrentVolumeIsDroppedAndARunningOneGoesOn)
{
    observe(player);
    start_at(50);
    fade_up(80);
    forget();
    fade_down(50);
    EXPECT_EQ(calls_to("qz_thread_service_"), lines{"qz_thread_service_exec(audio)"});
    EXPECT_EQ(ticks(1), lines{"volume 60"});
}

TEST_F(VolumeTest, AFadeUpToTheCurrentVolumeEndsARunningOneAndReportsNothing)
{
    observe(player);
    start_at(50);
    fade_down(20);
    forget();
    fade_up(50);
    EXPECT_EQ(calls_to("qz_thread_service_"),
              (lines{"qz_thread_service_exec(audio)", "qz_thread_service_clear_interval(audio, 1)",
                     "qz_thread_service_set_interval(audio, 500)"}));
    EXPECT_EQ(ticks(1), lines{});
    platform::advance(std::chrono::milliseconds(5000));
    EXPECT_EQ(platform::waiting("audio"), 0U) << "it has ended itself";
    EXPECT_EQ(record().volume, 50);
}

TEST_F(VolumeTest, AFadeTheOtherWayTurnsAtTheCurrentVolume)
{
    observe(player);
    start_at(50);
    fade_up(100);
    EXPECT_EQ(ticks(2), (lines{"volume 60", "volume 70"}));
    fade_down(50);
    EXPECT_EQ(ticks(4), (lines{"volume 60", "volume 50"}));
    fade_up(60);
    EXPECT_EQ(ticks(4), lines{"volume 60"});
}

TEST_F(VolumeTest, TheIdOfAFadeThatHasEndedIsClearedByTheNext)
{
    observe(player);
    start_at(50);
    fade_up(60);
    ticks(3);
    EXPECT_EQ(player->volume_interval_id, 1U) << "stale";
    forget();
    fade_up(70);
    EXPECT_EQ(calls_to("qz_thread_service_clear_interval"),
              lines{"qz_thread_service_clear_interval(audio, 1)"});
    EXPECT_EQ(player->volume_interval_id, 2U);
    EXPECT_EQ(ticks(3), lines{"volume 70"});
}

// The ticks

TEST_F(VolumeTest, ATickTakesItsStepsInOrder)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    fade_down(45);
    forget();
    platform::watch_locks();
    platform::advance(std::chrono::milliseconds(500));
    platform::run_all("audio");
    EXPECT_EQ(steps_with_threads(),
              (lines{"audio: check audio_data", "audio: property_lock(player)",
                     "audio: mpg123_volume(mh1, 0.9)", "audio: property_unlock(player)",
                     "audio: check on_volume_change", "audio: check audio_volume",
                     "audio: qz_system_service_exec()"}));
    const auto made = calls_since();
    EXPECT_TRUE(made.at(2).locked) << "the tick's own";
    EXPECT_FALSE(made.at(3).locked) << "released for the notification";
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"volume 90"});
    EXPECT_EQ(record().volume, 90);
    EXPECT_EQ(property<int>("audio_volume"), 90);
}

TEST_F(VolumeTest, TheTickAfterTheTargetEndsTheFade)
{
    observe(player);
    fade_down(90);
    EXPECT_EQ(ticks(1), lines{"volume 90"});
    forget();
    platform::advance(std::chrono::milliseconds(500));
    EXPECT_EQ(platform::waiting("audio"), 1U);
    platform::run_all();
    EXPECT_EQ(steps(),
              (lines{"check audio_data", "property_lock(player)", "property_unlock(player)"}));
    platform::advance(std::chrono::milliseconds(5000));
    EXPECT_EQ(platform::waiting("audio"), 0U);
}

TEST_F(VolumeTest, AFadeDownReportsEachStepAndCutsTheLast)
{
    observe(player);
    fade_down(45);
    EXPECT_EQ(ticks(20), (lines{"volume 90", "volume 80", "volume 70", "volume 60", "volume 50",
                                "volume 45"}));
}

TEST_F(VolumeTest, AFadeFromFullToSilenceTakesTenTicksAndEndsAtTheEleventh)
{
    observe(player);
    fade_down(0);
    lines expected;
    for (int volume = 90; volume >= 0; volume -= 10) {
        expected.push_back(volume_event(volume));
    }
    EXPECT_EQ(ticks(10), expected);
    platform::advance(std::chrono::milliseconds(500));
    EXPECT_EQ(platform::waiting("audio"), 1U);
    platform::run_all();
    platform::advance(std::chrono::milliseconds(500));
    EXPECT_EQ(platform::waiting("audio"), 0U);
    EXPECT_EQ(take_events(), lines{});
}

TEST_F(VolumeTest, AFadeUpReportsEachStepAndCutsTheLast)
{
    observe(player);
    start_at(0);
    qz_audio_set_audio_volume_increment_step(player, 30);
    fade_up(100);
    EXPECT_EQ(ticks(20), (lines{"volume 30", "volume 60", "volume 90", "volume 100"}));
}

TEST_F(VolumeTest, AFadeUpWithoutAPlayLoopLeavesTheDecoderToTheNextPlay)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    start_at(50);
    fade_up(70);
    EXPECT_EQ(ticks(3), (lines{"volume 60", "volume 70"}));
    EXPECT_EQ(calls_to("mpg123_volume"), lines{});
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_volume"), lines{"mpg123_volume(mh1, 0.7)"});
}

TEST_F(VolumeTest, AFadeDownReachesTheDecoderWheneverThereIsOne)
{
    bring_to(qz_audio_status_opened);
    forget();
    fade_down(80);
    ticks(3);
    EXPECT_EQ(calls_to("mpg123_volume"),
              (lines{"mpg123_volume(mh1, 0.9)", "mpg123_volume(mh1, 0.8)"}));
}

TEST_F(VolumeTest, AFadeWithoutADecoderIsRecordedAndReported)
{
    observe(player);
    fade_down(80);
    EXPECT_EQ(ticks(3), (lines{"volume 90", "volume 80"}));
    fade_up(100);
    EXPECT_EQ(ticks(3), (lines{"volume 90", "volume 100"}));
    EXPECT_EQ(library_calls(), lines{});
}

TEST_F(VolumeTest, FadesGoOnBetweenTwoBlocks)
{
    observe(player);
    start_at(50);
    const auto period_goes_by = [this] {
        at_call(
            "mpg123_read", [] { platform::advance(std::chrono::milliseconds(500)); }, 1);
        at_call(
            "mpg123_read", [] { platform::advance(std::chrono::milliseconds(500)); }, 2);
        qz_audio_volume_increment_timeout_start(player, 100);
    };
    bring_to(qz_audio_status_loaded);
    forget();
    take_events();
    when_served(period_goes_by);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(
        calls_to("mpg123_volume"),
        (lines{"mpg123_volume(mh1, 0.5)", "mpg123_volume(mh1, 0.6)", "mpg123_volume(mh1, 0.7)"}));
    EXPECT_EQ(take_events(), (lines{"status playing", "volume 60", "volume 70", "status stopped"}));
}

TEST_F(VolumeTest, ADecoderThatRefusesEndsTheFadeAtTheLastGoodVolume)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    fade_down(0);
    answer("mpg123_volume", MPG123_ERR, 3);
    EXPECT_EQ(ticks(6), (lines{"volume 90", "volume 80", "error -1"}));
    EXPECT_EQ(record().volume, 80);
    EXPECT_EQ(record().error, MPG123_ERR);
    EXPECT_EQ(property<int>("audio_volume"), 80);
    EXPECT_EQ(platform::waiting("audio"), 0U);
    EXPECT_FALSE(platform::is_locked(*player));
}

TEST_F(VolumeTest, AnErrorOfThePlayerEndsTheFadeSilently)
{
    observe(player);
    fade_down(0);
    ticks(1);
    record().error = 5;
    forget();
    tick();
    EXPECT_EQ(steps(),
              (lines{"check audio_data", "property_lock(player)", "property_unlock(player)"}));
    record().error = 0;
    EXPECT_EQ(ticks(3), lines{});
    EXPECT_EQ(record().volume, 90);
}

TEST_F(VolumeTest, ASetVolumeMovesARunningFade)
{
    observe(player);
    fade_down(0);
    EXPECT_EQ(ticks(1), lines{"volume 90"});
    start_at(30);
    EXPECT_EQ(ticks(5), (lines{"volume 20", "volume 10", "volume 0"}));
}

TEST_F(VolumeTest, ASetVolumePastTheTargetEndsARunningFade)
{
    observe(player);
    fade_down(50);
    ticks(1);
    start_at(40);
    EXPECT_EQ(ticks(3), lines{});
    EXPECT_EQ(record().volume, 40);
}

TEST_F(VolumeTest, NeitherStopNorPauseNorATrackEndsAFade)
{
    observe(player);
    fade_down(0);
    play_with([this] { qz_audio_pause(player); });
    take_events();
    EXPECT_EQ(ticks(1), lines{"volume 90"});
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(ticks(1), (lines{"status stopped", "volume 80"}));
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(ticks(1), (lines{"status loaded", "volume 70"}));
    EXPECT_EQ(calls_to("qz_thread_service_clear_interval"), lines{});
}

TEST_F(VolumeTest, DestroyLeavesTheIntervalToTheThread)
{
    fade_down(0);
    EXPECT_EQ(player.use_count(), 3) << "the test's, the registry's and the tick's";
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_EQ(calls_to("qz_thread_service_clear_interval"), lines{});
    EXPECT_EQ(player.use_count(), 1);
}

// Settings of a fade

TEST_F(VolumeTest, AFadeReadsItsSettingsOnce)
{
    observe(player);
    fade_down(0);
    qz_audio_set_audio_volume_decrement_step(player, 1);
    qz_audio_set_audio_volume_decrement_timeout(player, 5);
    EXPECT_EQ(ticks(2), (lines{"volume 90", "volume 80"}));
    forget();
    fade_down(10);
    EXPECT_EQ(calls_to("qz_thread_service_set_interval"),
              lines{"qz_thread_service_set_interval(audio, 5)"});
    platform::advance(std::chrono::milliseconds(5));
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"volume 79"});
}

TEST_F(VolumeTest, ATimeoutIsHandedOnUnchangedAndSignExtended)
{
    const std::vector<std::pair<int, std::string>> timeouts{{0, "0"},
                                                            {1, "1"},
                                                            {highest, "2147483647"},
                                                            {-1, "18446744073709551615"},
                                                            {-500, "18446744073709551116"},
                                                            {lowest, "18446744071562067968"}};
    for (const auto& [timeout, period] : timeouts) {
        const std::string expected = "qz_thread_service_set_interval(audio, " + period + ")";
        record().volume = 50;
        forget();
        qz_audio_set_audio_volume_decrement_timeout(player, timeout);
        fade_down(0);
        qz_audio_set_audio_volume_increment_timeout(player, timeout);
        fade_up(100);
        EXPECT_EQ(calls_to("qz_thread_service_set_interval"), (lines{expected, expected}));
    }
}

TEST_F(VolumeTest, AStepOf0ReportsTheSameVolumeForEver)
{
    observe(player);
    qz_audio_set_audio_volume_decrement_step(player, 0);
    fade_down(0);
    EXPECT_EQ(ticks(50), lines(50, "volume 100"));
    platform::advance(std::chrono::milliseconds(500));
    EXPECT_EQ(platform::waiting("audio"), 1U);
}

TEST_F(VolumeTest, ANegativeStepMovesTheWrongWay)
{
    observe(player);
    start_at(50);
    qz_audio_set_audio_volume_increment_step(player, -20);
    qz_audio_set_audio_volume_decrement_step(player, -20);
    fade_up(80);
    EXPECT_EQ(ticks(4), (lines{"volume 30", "volume 10", "volume -10", "volume -30"}));
    fade_down(-1);
    EXPECT_EQ(ticks(1), lines{"volume -50"}) << "the target, 0, lies above: the fade up goes on";
    start_at(50);
    fade_down(0);
    EXPECT_EQ(ticks(2), (lines{"volume 70", "volume 90"}));
}

TEST_F(VolumeTest, AStepBeyondAnIntIsHeldToIt)
{
    observe(player);
    start_at(50);
    qz_audio_set_audio_volume_increment_step(player, highest);
    fade_up(80);
    EXPECT_EQ(ticks(2), lines{"volume 80"});
    qz_audio_set_audio_volume_decrement_step(player, highest);
    fade_down(20);
    EXPECT_EQ(ticks(2), lines{"volume 20"});

    qz_audio_set_audio_volume_increment_step(player, lowest);
    fade_up(80);
    EXPECT_EQ(ticks(3),
              (lines{volume_event(lowest + 20), volume_event(lowest), volume_event(lowest)}));

    start_at(20);
    qz_audio_set_audio_volume_decrement_step(player, lowest);
    fade_down(0);
    EXPECT_EQ(ticks(2), (lines{volume_event(highest), volume_event(highest)}));
}
