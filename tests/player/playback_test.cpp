#include "failing_allocation.h"
#include "player_test.h"

#include <algorithm>
#include <stdexcept>

namespace
{

const std::string file_error = "error " + std::to_string(MPG123_BAD_FILE);

/// The calls of one turn of the loop that reads so many bytes.
lines turn(std::size_t bytes)
{
    return {"mpg123_read(mh1, 16)", "out123_play(ao1, " + std::to_string(bytes) + ")"};
}

/// The calls of the loop over the rest of "song", from a block on.
lines loop_from(unsigned block)
{
    lines calls;
    for (; block < 3; ++block) {
        calls = in_sequence({calls, turn(4)});
    }
    return in_sequence({calls, turn(0)});
}

const lines started_again{"out123_start(ao1, 44100, 2, 208)",
                          "out123_getformat(ao1, null, null, null, wanted)"};
const lines prepared{"mpg123_outblock(mh1)", "mpg123_volume(mh1, 1)"};
const lines dropped_and_rewound{"out123_drop(ao1)", "out123_stop(ao1)", "mpg123_seek(mh1, 0, 0)"};

} // namespace

using PlaybackTest = PlayerTest;

// Playing a track

TEST_F(PlaybackTest, AFreshPlayerOpensLoadsAndPlays)
{
    observe(player);
    player->property_list["audio_track"] = std::string("song");
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "status playing", "status stopped"}));
    EXPECT_EQ(library_calls(), in_sequence({{
                                                "mpg123_new(null)",
                                                "mpg123_param(mh1, 1, 64, 64)",
                                                "out123_new()",
                                                "out123_param(ao1, 8, 0, 0, \"./bin/\")",
                                                "out123_open(ao1, null, null)",
                                                "mpg123_open(mh1, \"song\")",
                                                "mpg123_getformat(mh1)",
                                                "mpg123_format_none(mh1)",
                                                "mpg123_format(mh1, 44100, 2, 208)",
                                                "out123_start(ao1, 44100, 2, 208)",
                                                "out123_getformat(ao1, null, null, null, wanted)",
                                                "out123_pause(ao1)",
                                            },
                                            started_again,
                                            prepared,
                                            loop_from(0),
                                            dropped_and_rewound}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
}

TEST_F(PlaybackTest, PlaysALoadedTrackInOrder)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    qz_audio_play(player);
    forget();
    platform::run_all("audio");
    const lines served{"qz_thread_service_run_one_only(audio)"};
    EXPECT_EQ(
        steps(),
        in_sequence({{"check audio_data"},
                     started_again,
                     prepared,
                     turn(4),
                     {"check on_status_changed", "check status", "qz_system_service_exec()"},
                     served,
                     turn(4),
                     served,
                     turn(4),
                     served,
                     turn(0),
                     served,
                     {"check audio_data"},
                     dropped_and_rewound,
                     {"check on_status_changed", "check status", "qz_system_service_exec()"}}));
    for (const auto& each : calls_since()) {
        EXPECT_EQ(each.thread, "audio") << each.text();
    }
}

TEST_F(PlaybackTest, HoldsNoLockWhilePlaying)
{
    platform::watch_locks();
    bring_to(qz_audio_status_loaded);
    forget();
    qz_audio_play(player);
    platform::run_all();
    for (const auto& each : calls_since()) {
        EXPECT_FALSE(each.locked && each.function != "qz_assertion_faild" &&
                     each.function != "qz_system_service_exec")
            << each.text();
    }
}

TEST_F(PlaybackTest, ThePlayTaskIsMarkedInTheRecordAndCounted)
{
    play_with([this] {
        EXPECT_TRUE(record().in_play);
        EXPECT_EQ(player->play_generation, 1U);
        EXPECT_EQ(record().buffer_size, 16U);
        EXPECT_NE(record().buffer, nullptr);
        EXPECT_EQ(record().done, 4U);
    });
    EXPECT_FALSE(record().in_play);
    EXPECT_EQ(record().buffer, nullptr);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(player->play_generation, 2U);
}

TEST_F(PlaybackTest, ABlockIsAsLargeAsTheDecoderSays)
{
    answer("mpg123_outblock", 3);
    bring_to(qz_audio_status_loaded);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_read").front(), "mpg123_read(mh1, 3)");
    EXPECT_EQ(substitute::played(), "aaabbbccc");
}

TEST_F(PlaybackTest, WhatTheOutputTakesIsNotLookedAt)
{
    observe(player);
    answer_always("out123_play", 0);
    bring_to(qz_audio_status_loaded);
    take_events();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(calls_to("mpg123_read").size(), 4U);
}

TEST_F(PlaybackTest, NothingIsAllocatedPerBlock)
{
    substitute::put_track("long", {std::vector<substitute::block>(100, {MPG123_OK, "abcd"})});
    qz_audio_set_audio_track(player, "long");
    std::unique_ptr<failing_allocation> any;
    bool allocated = true;
    at_call(
        "mpg123_read", [&] { any = std::make_unique<failing_allocation>(1); }, 5);
    at_call(
        "mpg123_read",
        [&] {
            allocated = any->has_failed();
            any.reset();
        },
        95);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_FALSE(allocated);
}

// Every request in every status

struct transition {
    const char* request;
    std::function<void(qz_audio_ptr)> call;
    qz_audio_status from;
    lines told;
    qz_audio_status to;

    friend void PrintTo(const transition& shown, std::ostream* out)
    {
        *out << shown.request << " when " << status_name(shown.from);
    }
};

class TransitionTest : public PlayerTest, public testing::WithParamInterface<transition>
{
};

TEST_P(TransitionTest, TellsTheNewStatusAndTakesIt)
{
    const auto& row = GetParam();
    observe(player);
    player->property_list["audio_track"] = std::string("song");
    act_in(row.from, [&] {
        platform::run_all("system");
        take_events();
        row.call(player);
    });
    EXPECT_EQ(take_events(), row.told);
    EXPECT_EQ(status(), row.to);
    EXPECT_EQ(qz_audio_get_playback_status(player), row.to);
    if (row.request == std::string("Open") && row.from != qz_audio_status_none) {
        EXPECT_EQ(take_failed_checks().size(), 3U);
        expect_lost_handles(1, 1);
    }
}

namespace
{

constexpr auto none = qz_audio_status_none;
constexpr auto opened = qz_audio_status_opened;
constexpr auto loaded = qz_audio_status_loaded;
constexpr auto playing = qz_audio_status_playing;
constexpr auto paused = qz_audio_status_paused;
constexpr auto stopped = qz_audio_status_stopped;

struct change {
    qz_audio_status from;
    lines told;
    qz_audio_status to;
};

std::vector<transition> transitions_of(const char* request, std::function<void(qz_audio_ptr)> call,
                                       const std::vector<change>& changes)
{
    std::vector<transition> rows;
    rows.reserve(changes.size());
    for (const auto& each : changes) {
        rows.push_back({request, call, each.from, each.told, each.to});
    }
    return rows;
}

std::vector<transition> all_transitions()
{
    const std::vector<std::vector<transition>> tables{
        transitions_of("Open", qz_audio_open,
                       {{none, {"status opened"}, opened},
                        {opened, {"status opened"}, opened},
                        {loaded, {"status opened"}, opened},
                        {playing, {"status opened"}, opened},
                        {paused, {"status opened"}, opened},
                        {stopped, {"status opened"}, opened}}),
        transitions_of("SetTrack", [](qz_audio_ptr p) { qz_audio_set_audio_track(p, "song"); },
                       {{none, {"status opened", "status loaded"}, loaded},
                        {opened, {"status loaded"}, loaded},
                        {loaded, {"status loaded"}, loaded},
                        {playing, {"status loaded"}, loaded},
                        {paused, {"status loaded"}, loaded},
                        {stopped, {"status loaded"}, loaded}}),
        transitions_of("SetNoTrack", [](qz_audio_ptr p) { qz_audio_set_audio_track(p, "nowhere"); },
                       {{none, {"status opened", file_error}, opened},
                        {opened, {file_error}, opened},
                        {loaded, {file_error}, loaded},
                        {playing, {"status opened", file_error}, opened},
                        {paused, {file_error}, paused},
                        {stopped, {file_error}, stopped}}),
        transitions_of("Play", qz_audio_play,
                       {{none,
                         {"status opened", "status loaded", "status playing", "status stopped"},
                         stopped},
                        {opened, {}, opened},
                        {loaded, {"status playing", "status stopped"}, stopped},
                        {playing, {}, playing},
                        {paused, {"status playing", "status stopped"}, stopped},
                        {stopped, {"status loaded", "status playing", "status stopped"}, stopped}}),
        transitions_of("Pause", qz_audio_pause,
                       {{none, {}, none},
                        {opened, {}, opened},
                        {loaded, {}, loaded},
                        {playing, {"status paused"}, paused},
                        {paused, {}, paused},
                        {stopped, {}, stopped}}),
        transitions_of("Stop", [](qz_audio_ptr p) { qz_audio_stop(p, nullptr); },
                       {{none, {}, none},
                        {opened, {}, opened},
                        {loaded, {}, loaded},
                        {playing, {"status stopped"}, stopped},
                        {paused, {"status stopped"}, stopped},
                        {stopped, {}, stopped}}),
        transitions_of("RefusedPlay",
                       [](qz_audio_ptr p) {
                           answer("out123_start", OUT123_ERR);
                           answer("out123_errcode", OUT123_DEV_OPEN);
                           qz_audio_play(p);
                       },
                       {{loaded, {"status none", "error 7"}, none},
                        {stopped, {"status none", "error 7"}, none}}),
    };
    std::vector<transition> rows;
    for (const auto& table : tables) {
        rows.insert(rows.end(), table.begin(), table.end());
    }
    return rows;
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Of, TransitionTest, testing::ValuesIn(all_transitions()),
                         [](const auto& row) {
                             return row.param.request + ("_" + status_name(row.param.from));
                         });

TEST_F(PlaybackTest, APlayerWithoutATrackCannotLoadOne)
{
    observe(player);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", file_error}));
    EXPECT_EQ(calls_to("mpg123_open"), lines{"mpg123_open(mh1, \"\")"});
    EXPECT_FALSE(record().in_play);
}

TEST_F(PlaybackTest, APlayerThatCannotBeOpenedDoesNotPlay)
{
    observe(player);
    answer("mpg123_new", MPG123_OUT_OF_MEM);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"error " + std::to_string(MPG123_OUT_OF_MEM)});
    EXPECT_FALSE(record().in_play);
    EXPECT_EQ(player->play_generation, 1U);
}

TEST_F(PlaybackTest, APlayThatDoesNothingCallsNoLibrary)
{
    bring_to(qz_audio_status_opened);
    forget();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(library_calls(), lines{});
    EXPECT_FALSE(record().in_play);
}

// Starting the output

class OutputStartTest : public PlayerTest, public testing::WithParamInterface<qz_audio_status>
{
protected:
    /// Plays, with an output that refuses at this function.
    void play_refused_at(const std::string& function)
    {
        observe(player);
        bring_to(GetParam());
        take_events();
        answer(function, OUT123_ERR);
        answer("out123_errcode", OUT123_DEV_OPEN);
        qz_audio_play(player);
        forget();
        platform::run_all("audio");
    }

    /// The error is reported before the handles go, so that its text is theirs.
    void expect_given_up_after(const lines& calls)
    {
        EXPECT_EQ(steps(), in_sequence({{"check audio_data"},
                                        calls,
                                        {
                                            "out123_errcode(ao1)",
                                            "check on_status_changed",
                                            "check status",
                                            "qz_system_service_exec()",
                                            "check audio_data",
                                            "mpg123_strerror(mh1)",
                                            "check error_str",
                                            "check on_error",
                                            "qz_system_service_exec()",
                                            "out123_del(ao1)",
                                            "mpg123_close(mh1)",
                                            "mpg123_delete(mh1)",
                                        }}));
        platform::run_all();
        EXPECT_EQ(take_events(), (lines{"status none", "error 7"}));
        EXPECT_EQ(status(), qz_audio_status_none);
        EXPECT_EQ(record().error, OUT123_DEV_OPEN);
        EXPECT_EQ(record().mh, nullptr);
        EXPECT_EQ(record().ao, nullptr);
        EXPECT_FALSE(record().in_play);
        EXPECT_EQ(property<std::string>("error_str"), "decoder error 0");
    }
};

TEST_P(OutputStartTest, IsDoneAgainWithTheTracksFormat)
{
    bring_to(GetParam());
    record().framesize = 0;
    forget();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(library_calls(),
              in_sequence({started_again, prepared, loop_from(0), dropped_and_rewound}));
    EXPECT_EQ(record().framesize, 4);
}

TEST_P(OutputStartTest, ThatFailsIsGivenUpInOrder)
{
    play_refused_at("out123_start");
    expect_given_up_after({started_again.front()});
}

TEST_P(OutputStartTest, WithoutAFormatIsGivenUpInOrder)
{
    play_refused_at("out123_getformat");
    expect_given_up_after(started_again);
}

INSTANTIATE_TEST_SUITE_P(From, OutputStartTest, testing::Values(loaded, stopped),
                         [](const auto& row) { return status_name(row.param); });

TEST_F(PlaybackTest, AResumedTrackStartsNoOutput)
{
    bring_to(paused);
    forget();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(library_calls(), in_sequence({prepared, loop_from(1), dropped_and_rewound}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc") << "without a gap or a repetition";
}

// The volume at the start

TEST_F(PlaybackTest, AppliesTheRecordedVolume)
{
    qz_audio_set_volume(player, 45);
    bring_to(loaded);
    forget();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_volume"), lines{"mpg123_volume(mh1, 0.45)"});
}

TEST_F(PlaybackTest, AVolumeThatIsRefusedIsWrittenDownAndPlayingGoesOn)
{
    observe(player);
    bring_to(loaded);
    take_events();
    answer("mpg123_volume", -1);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_output(), lines{"volume error: -1 decoder error 0"});
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
}

TEST_F(PlaybackTest, AVolumeThatIsAcceptedClearsTheError)
{
    bring_to(loaded);
    record().error = MPG123_BAD_FILE;
    int error = -1;
    at_call("mpg123_read", [&] { error = record().error; });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(error, 0);
}

TEST_F(PlaybackTest, TheResultForAVolumeOf0IsNotLookedAt)
{
    qz_audio_set_volume(player, 0);
    bring_to(loaded);
    forget();
    answer("mpg123_volume", -1);
    int error = -1;
    at_call("mpg123_read", [&] { error = record().error; });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(calls_to("mpg123_volume"), lines{"mpg123_volume(mh1, 0)"});
    EXPECT_EQ(error, 0);
}

TEST_F(PlaybackTest, AVolumeOf0WritesDownTheErrorOfBefore)
{
    qz_audio_set_volume(player, 0);
    bring_to(loaded);
    qz_audio_set_audio_track(player, "nowhere");
    platform::run_all();
    int error = -1;
    at_call("mpg123_read", [&] { error = record().error; });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_output(), lines{"volume error: 22 decoder error 22"});
    EXPECT_EQ(error, MPG123_BAD_FILE);
}

// What reads give

struct reading {
    const char* name;
    std::vector<substitute::block> blocks;
    lines told; ///< From loaded on.
    qz_audio_status to;
    std::string played;

    friend void PrintTo(const reading& shown, std::ostream* out) { *out << shown.name; }
};

class ReadingTest : public PlayerTest, public testing::WithParamInterface<reading>
{
};

TEST_P(ReadingTest, EndsAsItShould)
{
    const auto& row = GetParam();
    substitute::put_track("odd", {row.blocks});
    observe(player);
    qz_audio_set_audio_track(player, "odd");
    platform::run_all();
    take_events();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), row.told);
    EXPECT_EQ(status(), row.to);
    EXPECT_EQ(substitute::played(), row.played);
    EXPECT_EQ(record().buffer, nullptr);
    EXPECT_FALSE(record().in_play);
    EXPECT_EQ(calls_to("mpg123_read").size(), calls_to("out123_play").size())
        << "whatever is read is handed over";
}

INSTANTIATE_TEST_SUITE_P(
    Of, ReadingTest,
    testing::Values(
        reading{"NothingAtAll", {}, {"status playing", "status stopped"}, stopped, ""},
        reading{"DoneWithData",
                {{MPG123_OK, "aa"}, {MPG123_DONE, "bb"}, {MPG123_OK, "cc"}},
                {"status playing", "status stopped"},
                stopped,
                "aabb"},
        reading{"OkWithoutData",
                {{MPG123_OK, "aa"}, {MPG123_OK, ""}, {MPG123_OK, "cc"}},
                {"status playing", "status stopped"},
                stopped,
                "aa"},
        reading{"OkWithoutDataAtFirst",
                {{MPG123_OK, ""}, {MPG123_OK, "cc"}},
                {"status playing", "status stopped"},
                stopped,
                ""},
        reading{"NeedMore",
                {{MPG123_OK, "aa"}, {MPG123_NEED_MORE, ""}, {MPG123_OK, "cc"}},
                {"status playing", "error -10", "status stopped"},
                stopped,
                "aa"},
        reading{"NeedMoreWithDataAtFirst",
                {{MPG123_NEED_MORE, "aa"}, {MPG123_OK, "cc"}},
                {"status playing", "error -10", "status stopped"},
                stopped,
                "aa"},
        reading{"Error",
                {{MPG123_OK, "aa"}, {MPG123_ERR, ""}, {MPG123_OK, "cc"}},
                {"status playing", "error -1", "error -1", "status stopped"},
                stopped,
                "aa"},
        reading{"ErrorWithData",
                {{MPG123_OK, "aa"}, {MPG123_ERR, "bb"}, {MPG123_OK, "cc"}},
                {"status playing", "error -1", "error -1", "status stopped"},
                stopped,
                "aabb"},
        reading{"ErrorAtFirst",
                {{MPG123_ERR, ""}, {MPG123_OK, "cc"}},
                {"error -1", "error -1"},
                loaded,
                ""},
        reading{"NewFormat",
                {{MPG123_OK, "aa"}, {MPG123_NEW_FORMAT, ""}, {MPG123_OK, "cc"}},
                {"status playing", "error -11", "error -11", "status stopped"},
                stopped,
                "aa"},
        reading{
            "NewFormatAtFirst", {{MPG123_NEW_FORMAT, ""}}, {"error -11", "error -11"}, loaded, ""},
        reading{"AnotherCode",
                {{MPG123_OK, "aa"}, {MPG123_RESYNC_FAIL, ""}},
                {"status playing", "error 28", "error 28", "status stopped"},
                stopped,
                "aa"}),
    [](const auto& row) { return row.param.name; });

TEST_F(PlaybackTest, AnErrorOfTheFirstReadAfterAPauseLeavesItPaused)
{
    observe(player);
    substitute::put_track("song", {{{MPG123_OK, "aaaa"}, {MPG123_ERR, ""}}});
    bring_to(paused);
    take_events();
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"error -1", "error -1"}));
    EXPECT_EQ(status(), paused);
}

TEST_F(PlaybackTest, AnExceptionStopsThePlayThatItEnds)
{
    observe(player);
    bring_to(loaded);
    take_events();
    at_call("qz_system_service_exec", [] { throw std::runtime_error("refused"); });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_escaped_exceptions(), lines{"refused"});
    EXPECT_EQ(take_events(), lines{"status stopped"});
    EXPECT_FALSE(record().in_play);

    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status loaded", "status playing", "status stopped"}));
}

TEST_F(PlaybackTest, AnOutputThatDoesNotStartIsReleasedAlsoWhereItsReportFails)
{
    observe(player);
    bring_to(loaded);
    take_events();
    answer("out123_start", OUT123_ERR);
    at_call("qz_system_service_exec", [] { throw std::runtime_error("refused"); });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_escaped_exceptions(), lines{"refused"});
    EXPECT_EQ(record().mh, nullptr);
    EXPECT_EQ(record().ao, nullptr);
    EXPECT_EQ(status(), qz_audio_status_none);
}

TEST_F(PlaybackTest, AnErrorInAnEntryThatANewerOneHasReplacedIsReportedOnce)
{
    observe(player);
    substitute::put_track("song", {{{MPG123_OK, "aaaa"}, {MPG123_ERR, ""}}});
    bring_to(loaded);
    take_events();
    at_call(
        "mpg123_read", [this] { ++player->play_generation; }, 2);
    // It is replaced while it serves, in fact; so late only here, for the branch.
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "error -1"}));
    EXPECT_EQ(status(), playing);
    EXPECT_NE(record().buffer, nullptr);
    EXPECT_FALSE(record().in_play);
}

// Serving other tasks

TEST_F(PlaybackTest, ServesAllThatWaitsBetweenTwoBlocks)
{
    observe(player);
    bring_to(loaded);
    forget();
    qz_audio_play(player);
    for (int volume = 1; volume <= 3; ++volume) {
        qz_audio_set_volume(player, volume);
    }
    platform::run_all();
    const lines volumes{"mpg123_volume(mh1, 0.01)", "mpg123_volume(mh1, 0.02)",
                        "mpg123_volume(mh1, 0.03)"};
    EXPECT_EQ(library_calls(), in_sequence({started_again, prepared, turn(4), volumes, loop_from(1),
                                            dropped_and_rewound}));
    EXPECT_EQ(calls_to("qz_thread_service_run_one_only").size(), 4U + 3U)
        << "once a turn, and once more after each task";
}

TEST_F(PlaybackTest, ServesNoMoreOnceATaskHasEndedThePlaying)
{
    observe(player);
    bring_to(loaded);
    take_events();
    forget();
    qz_audio_play(player);
    qz_audio_pause(player);
    qz_audio_set_volume(player, 30);
    platform::run_one("audio");
    EXPECT_EQ(calls_to("qz_thread_service_run_one_only").size(), 1U);
    EXPECT_EQ(platform::waiting("audio"), 1U);
    EXPECT_EQ(record().volume, 100);
    platform::run_all();
    EXPECT_EQ(record().volume, 30);
    EXPECT_EQ(take_events(), (lines{"status playing", "status paused", "volume 30"}));
}

TEST_F(PlaybackTest, ATaskPostedWhileItPlaysIsServedAfterTheBlock)
{
    bring_to(loaded);
    forget();
    qz_audio_play(player);
    at_call(
        "mpg123_read", [this] { platform::as_caller([this] { qz_audio_set_volume(player, 50); }); },
        2);
    platform::run_all();
    EXPECT_EQ(library_calls(), in_sequence({started_again,
                                            prepared,
                                            turn(4),
                                            turn(4),
                                            {"mpg123_volume(mh1, 0.5)"},
                                            loop_from(2),
                                            dropped_and_rewound}));
}

TEST_F(PlaybackTest, ASecondPlayHaltsTheDecodingUntilAPause)
{
    observe(player);
    play_with([this] { qz_audio_play(player); });
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing"}));
    EXPECT_EQ(status(), playing);
    EXPECT_EQ(substitute::played(), "aaaa");
    EXPECT_FALSE(record().in_play);
    EXPECT_NE(record().buffer, nullptr);

    qz_audio_pause(player);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status paused"});
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
    EXPECT_EQ(record().buffer, nullptr);
}

TEST_F(PlaybackTest, ASecondPlayHaltsTheDecodingUntilAStopOrATrack)
{
    observe(player);
    play_with([this] { qz_audio_play(player); });
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(status(), stopped);

    play_with([this] { qz_audio_play(player); });
    EXPECT_EQ(status(), playing);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(status(), loaded);
}

TEST_F(PlaybackTest, ATrackSetWhileItPlaysWaitsForTheNextPlay)
{
    substitute::put_track("next", {{{MPG123_OK, "next"}}});
    observe(player);
    play_with([this] {
        qz_audio_set_audio_track(player, "next");
        qz_audio_play(player);
    });
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing",
                                    "status loaded", "status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaanext");
}

TEST_F(PlaybackTest, AnOutputThatIsLostWhileItPlaysEndsTheLoop)
{
    observe(player);
    play_with([this] {
        answer("out123_start", OUT123_ERR);
        answer("out123_errcode", OUT123_DEV_OPEN);
        qz_audio_set_audio_track(player, "song");
    });
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing",
                                    "status none", "error 0"}));
    EXPECT_EQ(substitute::played(), "aaaa");
}

// Repeating

TEST_F(PlaybackTest, ARepeatedTrackStartsOverWithoutANotification)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    forget();
    qz_audio_play(player);
    // Off again in the second round.
    when_served([this] { qz_audio_set_repeat(player, false); }, 6);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbccccaaaabbbbcccc");
    EXPECT_EQ(library_calls(), in_sequence({started_again,
                                            prepared,
                                            loop_from(0),
                                            {"mpg123_seek(mh1, 0, 0)"},
                                            loop_from(0),
                                            dropped_and_rewound}));
}

TEST_F(PlaybackTest, ARewindThatFailsIsReportedOnceAndStops)
{
    for (const int result : {-1, 5}) {
        observe(player);
        qz_audio_set_repeat(player, true);
        bring_to(loaded);
        take_events();
        answer("mpg123_seek", result);
        qz_audio_play(player);
        platform::run_all();
        EXPECT_EQ(take_events(),
                  (lines{"status playing", "error " + std::to_string(result), "status stopped"}));
        EXPECT_EQ(status(), stopped);
        EXPECT_EQ(record().error, 0);
    }
}

TEST_F(PlaybackTest, ARewindInAnEntryThatANewerOneHasReplacedLeavesQuietly)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    at_call("mpg123_seek", [this] { ++player->play_generation; });
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status playing"});
    EXPECT_EQ(status(), playing);
    EXPECT_NE(record().buffer, nullptr);
    EXPECT_FALSE(record().in_play);
}

TEST_F(PlaybackTest, RepeatingAndPausedAtTheEndItReadsOnAndServesOneTaskATurn)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    forget();
    pause_when_served(4);
    when_served(
        [this] {
            for (int task = 0; task < 3; ++task) {
                qz_audio_set_repeat(player, task < 2);
            }
        },
        5);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(library_calls(),
              in_sequence({started_again, prepared, loop_from(0), turn(0), turn(0), turn(0)}));
    EXPECT_EQ(calls_to("qz_thread_service_run_one_only").size(), 7U);
    EXPECT_EQ(take_events(), lines{"status playing"});
    EXPECT_EQ(status(), paused);
}

TEST_F(PlaybackTest, AtTheEndOfARepeatedTrackAPauseIsRefusedAndAStopIsNot)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    qz_audio_play(player);
    when_served([this] { qz_audio_pause(player); }, 4);
    when_served([this] { qz_audio_stop(player, nullptr); }, 9);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbccccaaaabbbbcccc");
}

TEST_F(PlaybackTest, ATrackSetAtTheEndOfARepeatedOneEndsItAndWaitsForThePlay)
{
    observe(player);
    substitute::put_track("next", {{{MPG123_OK, "1111"}, {MPG123_OK, "2222"}}});
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    qz_audio_play(player);
    when_served([this] { qz_audio_set_audio_track(player, "next"); }, 4);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status loaded"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
    EXPECT_FALSE(record().in_play);
    EXPECT_EQ(record().buffer, nullptr);

    qz_audio_set_repeat(player, false);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc11112222");
}

TEST_F(PlaybackTest, AnOutputThatFailsForATrackSetAtTheEndOfARepeatedOneIsReportedOnce)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    qz_audio_play(player);
    when_served(
        [this] {
            answer("out123_start", OUT123_ERR);
            qz_audio_set_audio_track(player, "song");
        },
        4);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status none", "error -12"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
}

TEST_F(PlaybackTest, APlayServedByALoopThatReadsOnTakesItsPlace)
{
    observe(player);
    qz_audio_set_repeat(player, true);
    bring_to(loaded);
    take_events();
    forget();
    qz_audio_play(player);
    pause_when_served(4);
    when_served(
        [this] {
            qz_audio_play(player);
            qz_audio_set_repeat(player, false);
        },
        5);
    when_served(
        [this] {
            EXPECT_TRUE(record().in_play);
            EXPECT_EQ(player->play_generation, 2U);
        },
        6);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status playing", "status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
    EXPECT_EQ(calls_to("mpg123_outblock").size(), 2U);
    EXPECT_FALSE(record().in_play);
    EXPECT_EQ(record().buffer, nullptr);
}

/// However many tracks are played one after another, the thread's stack stays as it is.
TEST_F(PlaybackTest, PlaysOfTracksAtTheirEndsAreNotNested)
{
    constexpr unsigned plays = 2000;
    substitute::put_track("at its end", {});
    qz_audio_set_audio_track(player, "at its end");
    qz_audio_set_repeat(player, true);
    qz_audio_play(player);
    for (unsigned play = 1; play < plays; ++play) {
        qz_audio_set_audio_track(player, "at its end");
        qz_audio_play(player);
    }
    qz_audio_set_repeat(player, false);
    platform::run_all();
    EXPECT_EQ(player->play_generation, plays);
    EXPECT_EQ(calls_to("mpg123_outblock").size(), plays);
    EXPECT_LE(platform::deepest_nesting(), 2U);
    EXPECT_EQ(status(), stopped);
}

TEST_F(PlaybackTest, RepeatSetWhileItPlaysTakesEffectAtTheEnd)
{
    when_served([this] { qz_audio_stop(player, nullptr); }, 6);
    play_with([this] { qz_audio_set_repeat(player, true); });
    EXPECT_EQ(status(), stopped);
    EXPECT_GT(substitute::played().size(), 12U);
}

// Pausing

TEST_F(PlaybackTest, PausesInOrder)
{
    play_with([this] {
        forget();
        qz_audio_pause(player);
    });
    EXPECT_EQ(steps(), (lines{
                           "qz_thread_service_exec(audio)",
                           "check audio_data",
                           "check ao data is null",
                           "out123_pause(ao1)",
                           "check on_status_changed",
                           "check status",
                       }));
    EXPECT_EQ(checks("ao data is null"),
              (std::vector<check>{{true, "adata->ao != nullptr", "ao data is null"}}));
    EXPECT_EQ(record().buffer, nullptr);
    EXPECT_FALSE(record().in_play);
}

TEST_F(PlaybackTest, APauseWithoutAnOutputIsReportedAndGoesOn)
{
    observe(player);
    out123_handle* output = nullptr;
    play_with([&] {
        output = record().ao;
        record().ao = nullptr;
        qz_audio_pause(player);
    });
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{{false, "adata->ao != nullptr", "ao data is null"}}));
    EXPECT_EQ(status(), paused);
    EXPECT_EQ(calls_to("out123_pause").back(), "out123_pause(null)");
    record().ao = output;
}

TEST_F(PlaybackTest, APauseIsRefusedWhileThePlayerHoldsAnError)
{
    observe(player);
    play_with([this] {
        forget();
        record().error = 5;
        qz_audio_pause(player);
    });
    EXPECT_EQ(calls_to("out123_pause"), lines{});
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing", "error 5",
                                    "status stopped"}));
}

// Stopping

TEST_F(PlaybackTest, StopsInOrder)
{
    play_with([this] {
        forget();
        qz_audio_stop(player, nullptr);
    });
    EXPECT_EQ(steps(), in_sequence({{"qz_thread_service_exec(audio)", "check audio_data"},
                                    dropped_and_rewound,
                                    {"check on_status_changed", "check status"}}));
    EXPECT_EQ(record().error, 0);
}

struct missing_handle {
    const char* name;
    bool decoder;
    bool output;

    friend void PrintTo(const missing_handle& shown, std::ostream* out) { *out << shown.name; }
};

class StopTest : public PlayerTest, public testing::WithParamInterface<missing_handle>
{
protected:
    /// Takes the handles out of the record; they come back at the end.
    void take_handles()
    {
        decoder_ = record().mh;
        output_ = record().ao;
        record().mh = GetParam().decoder ? decoder_ : nullptr;
        record().ao = GetParam().output ? output_ : nullptr;
    }

    void TearDown() override
    {
        record().mh = decoder_;
        record().ao = output_;
        PlayerTest::TearDown();
    }

private:
    mpg123_handle* decoder_ = nullptr;
    out123_handle* output_ = nullptr;
};

TEST_P(StopTest, WhilePlayingTouchesTheLibrariesOnlyWithBothHandles)
{
    play_with([this] { qz_audio_play(player); }); // halted, but playing
    take_handles();
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(library_calls(), lines{});
    EXPECT_EQ(status(), stopped);
}

INSTANTIATE_TEST_SUITE_P(Without, StopTest,
                         testing::Values(missing_handle{"Decoder", false, true},
                                         missing_handle{"Output", true, false},
                                         missing_handle{"Both", false, false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(PlaybackTest, AStopWhilePausedKeepsPositionAndOutput)
{
    bring_to(paused);
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(library_calls(), lines{});
    EXPECT_EQ(status(), stopped);

    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(library_calls(),
              in_sequence({started_again, prepared, loop_from(1), dropped_and_rewound}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
}

TEST_F(PlaybackTest, AStopWhilePausedAtTheEndDropsNothing)
{
    bring_to(paused);
    record().error = MPG123_DONE;
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(library_calls(), lines{});
    EXPECT_EQ(record().error, 0);
}

TEST_F(PlaybackTest, AStopWhilePausedWithAnErrorDropsAndRewinds)
{
    observe(player);
    bring_to(paused);
    take_events();
    qz_audio_set_audio_track(player, "nowhere"); // leaves its error
    platform::run_all();
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(library_calls(), dropped_and_rewound);
    EXPECT_EQ(record().error, 0);
    EXPECT_EQ(take_events(), (lines{file_error, "status stopped"}));
}

TEST_F(PlaybackTest, AStopWhilePausedAfterAFailedSecondOpenSeeksNothing)
{
    observe(player);
    bring_to(paused);
    take_events();
    answer("out123_new", 0);
    qz_audio_open(player);
    platform::run_all();
    ASSERT_EQ(status(), paused);
    EXPECT_EQ(take_events(), lines{"error 7"});
    EXPECT_EQ(record().mh, nullptr);
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(library_calls(), (lines{"out123_drop(null)", "out123_stop(null)"}));
    EXPECT_EQ(take_events(), lines{"status stopped"});
    take_failed_checks();
    expect_lost_handles(1, 1);
}

TEST_F(PlaybackTest, AStopWithNothingToStopLeavesTheErrorAsItIs)
{
    bring_to(loaded);
    record().error = 5;
    forget();
    qz_audio_stop(player, nullptr);
    platform::run_all();
    EXPECT_EQ(steps(), (lines{"qz_thread_service_exec(audio)", "check audio_data"}));
    EXPECT_EQ(record().error, 5);
}
