#include "player_test.h"

using TrackTest = PlayerTest;

namespace
{

const std::string file_error = "error " + std::to_string(MPG123_BAD_FILE);

const lines pinned_44100_stereo{"mpg123_format_none(mh1)", "mpg123_format(mh1, 44100, 2, 208)"};

/// The nine rates of MPEG audio in mono and stereo and any encoding.
const lines lifted_pin = [] {
    lines calls;
    for (const auto* rate :
         {"8000", "11025", "12000", "16000", "22050", "24000", "32000", "44100", "48000"}) {
        calls.push_back(std::string("mpg123_format(mh1, ") + rate + ", 3, " +
                        std::to_string(MPG123_ENC_ANY) + ")");
    }
    return calls;
}();

} // namespace

TEST_F(TrackTest, LoadsInOrder)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    qz_audio_set_audio_track(player, "song");
    forget();
    platform::run_all("audio");
    EXPECT_EQ(steps_with_threads(), (lines{
                                        "audio: property_lock(player)",
                                        "audio: check audio_track",
                                        "audio: property_unlock(player)",
                                        "audio: check audio_data",
                                        "audio: check audio_track",
                                        "audio: mpg123_open(mh1, \"song\")",
                                        "audio: mpg123_getformat(mh1)",
                                        "audio: mpg123_format_none(mh1)",
                                        "audio: mpg123_format(mh1, 44100, 2, 208)",
                                        "audio: out123_start(ao1, 44100, 2, 208)",
                                        "audio: out123_getformat(ao1, null, null, null, wanted)",
                                        "audio: out123_pause(ao1)",
                                        "audio: check on_status_changed",
                                        "audio: check status",
                                        "audio: qz_system_service_exec()",
                                    }));
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status loaded"});
    EXPECT_EQ(status(), qz_audio_status_loaded);
    EXPECT_EQ(record().rate, 44100);
    EXPECT_EQ(record().channels, 2);
    EXPECT_EQ(record().encoding, 208);
    EXPECT_EQ(record().framesize, 4);
    EXPECT_EQ(qz_audio_get_current_track(player), "song");
}

TEST_F(TrackTest, OpensThePlayerFirstIfNeedBe)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded"}));
}

TEST_F(TrackTest, ReportsItsPropertyAccessesWithTheirTexts)
{
    const check write{true, "qz_property_set<std::string>(property_list,\"audio_track\",file_path)",
                      "audio_track"};
    const check read{
        true, "qz_property_get_extract<std::string> (property_list,\"audio_track\",&current_track)",
        "audio_track"};
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(checks("audio_track"), (std::vector<check>{write, read}));
}

TEST_F(TrackTest, AMissingTrackPropertyIsReportedAndReadAsAnEmptyPath)
{
    for (const auto how : {broken_property::how::missing, broken_property::how::mistyped}) {
        forget();
        broken_property broken(player, "audio_track", how);
        qz_audio_set_audio_track(player, "song");
        platform::run_all();
        EXPECT_EQ(
            take_failed_checks(),
            (std::vector<check>{
                {false, "qz_property_set<std::string>(property_list,\"audio_track\",file_path)",
                 "audio_track"},
                {false,
                 "qz_property_get_extract<std::string> (property_list,\"audio_track\",&current_track)",
                 "audio_track"}}));
        EXPECT_EQ(calls_to("mpg123_open"), lines{"mpg123_open(mh1, \"\")"});
    }
}

TEST_F(TrackTest, AnEmptyPathIsHandedOverAsItStands)
{
    observe(player);
    qz_audio_set_audio_track(player, "");
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_open"), lines{"mpg123_open(mh1, \"\")"});
    EXPECT_EQ(take_events(), (lines{"status opened", file_error}));
}

TEST_F(TrackTest, APlayerThatCannotBeOpenedLoadsNothing)
{
    observe(player);
    answer("out123_new", 0);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"error 7"});
    EXPECT_EQ(calls_to("mpg123_open"), lines{});
    EXPECT_EQ(qz_audio_get_current_track(player), "song");
}

TEST_F(TrackTest, ResultsThatAreNotCheckedChangeNothing)
{
    answer("mpg123_format_none", MPG123_ERR);
    answer("mpg123_format", MPG123_ERR);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(status(), qz_audio_status_loaded);
}

// Loading in each status

class LoadTest : public PlayerTest, public testing::WithParamInterface<qz_audio_status>
{
protected:
    void load(const std::string& path)
    {
        observe(player);
        act_in(GetParam(), [this, path] {
            platform::run_all("system");
            take_events();
            qz_audio_set_audio_track(player, path);
        });
    }

    /// The output refuses the next track at this function.
    void refuse(const std::string& function)
    {
        substitute::put_track("next", {});
        at_call(
            "property_lock",
            [function] {
                answer(function, OUT123_ERR);
                answer("out123_errcode", OUT123_DEV_OPEN);
            },
            GetParam() == qz_audio_status_none || GetParam() == qz_audio_status_opened ? 1 : 2);
        load("next");
        EXPECT_EQ(take_events(), told({"status none", "error 0"}));
        EXPECT_EQ(status(), qz_audio_status_none);
        EXPECT_EQ(record().error, 0);
        EXPECT_EQ(record().mh, nullptr);
        EXPECT_EQ(record().ao, nullptr);
        EXPECT_EQ(calls_to("out123_errcode"), lines{"out123_errcode(ao1)"});
    }

    [[nodiscard]] static bool was_open() { return GetParam() != qz_audio_status_none; }
    [[nodiscard]] static bool was_playing() { return GetParam() == qz_audio_status_playing; }

    /// What comes first when the player has yet to be opened.
    [[nodiscard]] static lines told(const lines& events)
    {
        lines all = was_open() ? lines{} : lines{"status opened"};
        all.insert(all.end(), events.begin(), events.end());
        return all;
    }
};

TEST_P(LoadTest, ATrackMakesItLoadedAndWaitsForAPlay)
{
    substitute::put_track("next", {{{MPG123_OK, "next"}}});
    load("next");
    EXPECT_EQ(take_events(), told({"status loaded"}));
    EXPECT_EQ(status(), qz_audio_status_loaded);
    EXPECT_EQ(record().error, 0);
    EXPECT_EQ(calls_to("out123_pause"), lines{"out123_pause(ao1)"});
    EXPECT_FALSE(record().in_play);

    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(substitute::played().substr(substitute::played().size() - 4), "next");
}

TEST_P(LoadTest, AFileThatCannotBeOpenedIsReportedOnceAndKeepsTheHandles)
{
    load("nowhere");
    if (was_playing()) {
        EXPECT_EQ(take_events(), (lines{"status opened", file_error}));
        EXPECT_EQ(status(), qz_audio_status_opened);
    } else {
        EXPECT_EQ(take_events(), told({file_error}));
        EXPECT_EQ(status(), was_open() ? GetParam() : qz_audio_status_opened);
    }
    EXPECT_EQ(record().error, MPG123_BAD_FILE);
    EXPECT_NE(record().mh, nullptr);
    EXPECT_NE(record().ao, nullptr);
    EXPECT_EQ(qz_audio_get_current_track(player), "nowhere");
}

/// The handles go first, so that the text is that of no handle; then the status, then the error.
TEST_P(LoadTest, AFileThatIsNoAudioMakesItNone)
{
    substitute::track noise;
    noise.format_result = MPG123_DONE;
    substitute::put_track("noise", noise);
    answer("mpg123_errcode", MPG123_ERR_READER);
    load("noise");
    const lines reports = was_playing() ? lines{"status none", "error 18", "error 18"}
                                        : lines{"status none", "error 18"};
    EXPECT_EQ(take_events(), told(reports));
    EXPECT_EQ(status(), qz_audio_status_none);
    EXPECT_EQ(record().error, MPG123_ERR_READER);
    EXPECT_EQ(record().mh, nullptr);
    EXPECT_EQ(record().ao, nullptr);
    EXPECT_EQ(substitute::decoders_alive(), 0U);
    EXPECT_EQ(property<std::string>("error_str"), "decoder error 10");
}

TEST_P(LoadTest, AnOutputThatDoesNotStartMakesItNoneAndTellsTheFormerError)
{
    refuse("out123_start");
}

TEST_P(LoadTest, AnOutputWithoutAFormatMakesItNoneAndTellsTheFormerError)
{
    refuse("out123_getformat");
}

INSTANTIATE_TEST_SUITE_P(From, LoadTest, testing::ValuesIn(all_statuses()),
                         [](const auto& row) { return status_name(row.param); });

TEST_F(TrackTest, AFileThatIsNoAudioIsGivenUpInOrder)
{
    substitute::track noise;
    noise.format_result = MPG123_DONE;
    substitute::put_track("noise", noise);
    observe(player);
    bring_to(qz_audio_status_opened);
    forget();
    answer("mpg123_errcode", MPG123_ERR_READER);
    qz_audio_set_audio_track(player, "noise");
    platform::run_all("audio");
    const lines all = steps();
    EXPECT_EQ((lines{all.begin() + 6, all.end()}), (lines{
                                                       "mpg123_open(mh1, \"noise\")",
                                                       "mpg123_getformat(mh1)",
                                                       "mpg123_errcode(mh1)",
                                                       "out123_del(ao1)",
                                                       "mpg123_close(mh1)",
                                                       "mpg123_delete(mh1)",
                                                       "check on_status_changed",
                                                       "check status",
                                                       "qz_system_service_exec()",
                                                       "check audio_data",
                                                       "mpg123_strerror(null)",
                                                       "check error_str",
                                                       "check on_error",
                                                       "qz_system_service_exec()",
                                                   }));
}

TEST_F(TrackTest, AnOutputThatDoesNotStartIsGivenUpInOrder)
{
    bring_to(qz_audio_status_opened);
    forget();
    answer("out123_start", OUT123_ERR);
    answer("out123_errcode", OUT123_DEV_OPEN);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(library_calls(), (lines{
                                   "mpg123_open(mh1, \"song\")",
                                   "mpg123_getformat(mh1)",
                                   "mpg123_format_none(mh1)",
                                   "mpg123_format(mh1, 44100, 2, 208)",
                                   "out123_start(ao1, 44100, 2, 208)",
                                   "out123_errcode(ao1)",
                                   "out123_del(ao1)",
                                   "mpg123_close(mh1)",
                                   "mpg123_delete(mh1)",
                                   "mpg123_strerror(null)",
                               }));
}

TEST_F(TrackTest, AStaleErrorIsWhatAnOutputThatDoesNotStartReports)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    qz_audio_set_audio_track(player, "nowhere"); // leaves its error
    platform::run_all();
    take_events();
    answer("out123_start", OUT123_ERR);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status none", file_error}));
}

// The pinned format

TEST_F(TrackTest, AFirstTrackIsPinnedWithoutAnExtraCall)
{
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_format"), pinned_44100_stereo);
}

TEST_F(TrackTest, TheNextTracksPinIsLiftedBetweenItsOpenAndItsFormat)
{
    bring_to(qz_audio_status_loaded);
    forget();
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    lines expected{"mpg123_open(mh1, \"song\")"};
    expected.insert(expected.end(), lifted_pin.begin(), lifted_pin.end());
    expected.push_back("mpg123_getformat(mh1)");
    expected.insert(expected.end(), pinned_44100_stereo.begin(), pinned_44100_stereo.end());
    EXPECT_EQ(calls_to("mpg123_"), expected);
}

TEST_F(TrackTest, APinIsNotLiftedForAFileThatCannotBeOpened)
{
    bring_to(qz_audio_status_loaded);
    forget();
    qz_audio_set_audio_track(player, "nowhere");
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_format"), lines{});
}

TEST_F(TrackTest, ANewDecoderHasNoPin)
{
    bring_to(qz_audio_status_loaded);
    answer("out123_start", OUT123_ERR);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    ASSERT_EQ(status(), qz_audio_status_none);
    forget();
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_format"),
              (lines{"mpg123_format_none(mh2)", "mpg123_format(mh2, 44100, 2, 208)"}));
}

TEST_F(TrackTest, AReopenedPlayersDecoderHasNoPin)
{
    bring_to(qz_audio_status_loaded);
    qz_audio_open(player);
    platform::run_all();
    forget();
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_format"),
              (lines{"mpg123_format_none(mh2)", "mpg123_format(mh2, 44100, 2, 208)"}));
    take_failed_checks();
    expect_lost_handles(1, 1);
}

struct format_case {
    const char* name;
    long rate;
    int channels;
    int encoding;
};

class FormatTest : public PlayerTest, public testing::WithParamInterface<format_case>
{
};

TEST_P(FormatTest, OfATrackAfterAnotherIsItsOwn)
{
    const auto& wanted = GetParam();
    substitute::track next;
    next.rate = wanted.rate;
    next.channels = wanted.channels;
    next.encoding = wanted.encoding;
    substitute::put_track("next", next);
    bring_to(qz_audio_status_loaded);
    qz_audio_set_audio_track(player, "next");
    platform::run_all();
    ASSERT_EQ(status(), qz_audio_status_loaded);
    EXPECT_EQ(record().rate, wanted.rate);
    EXPECT_EQ(record().channels, wanted.channels);
    EXPECT_EQ(record().encoding, wanted.encoding);

    qz_audio_set_audio_track(player, "song"); // and back
    platform::run_all();
    EXPECT_EQ(record().rate, 44100);
    EXPECT_EQ(record().channels, 2);
}

INSTANTIATE_TEST_SUITE_P(Of, FormatTest,
                         testing::Values(format_case{"Mono", 44100, 1, MPG123_ENC_SIGNED_16},
                                         format_case{"Slow", 8000, 2, MPG123_ENC_SIGNED_16},
                                         format_case{"SlowMono", 11025, 1, MPG123_ENC_SIGNED_16},
                                         format_case{"Fast", 48000, 2, MPG123_ENC_SIGNED_16},
                                         format_case{"Float", 32000, 2, MPG123_ENC_FLOAT_32}),
                         [](const auto& row) { return row.param.name; });
