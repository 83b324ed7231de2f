#include "player_test.h"

namespace
{

const check no_decoder{true, "adata->mh == nullptr", "adata->mh must be nulll"};
const check no_output{true, "adata->ao == nullptr", "adata->ao must be nulll"};
const check no_status{true, "adata->status == qz_audio_status_none", "status must be 'none'"};

} // namespace

class OutputTest : public PlayerTest
{
protected:
    /// Opens the player, which makes these calls of the libraries, reports the code and stays closed.
    void expect_refused_open(const lines& calls, int code)
    {
        observe(player);
        qz_audio_open(player);
        platform::run_all();
        EXPECT_EQ(library_calls(), calls);
        EXPECT_EQ(record().error, code);
        EXPECT_EQ(take_events(), lines{"error " + std::to_string(code)});
        EXPECT_EQ(status(), qz_audio_status_none);
        EXPECT_EQ(record().mh, nullptr);
        EXPECT_EQ(record().ao, nullptr);
    }
};

TEST_F(OutputTest, OpensInOrder)
{
    observe(player);
    qz_audio_open(player);
    forget();
    platform::run_all("audio");
    EXPECT_EQ(steps_with_threads(), (lines{
                                        "audio: check audio_data",
                                        "audio: check adata->mh must be nulll",
                                        "audio: check status must be 'none'",
                                        "audio: mpg123_new(null)",
                                        "audio: mpg123_param(mh1, 1, 64, 64)",
                                        "audio: check adata->ao must be nulll",
                                        "audio: out123_new()",
                                        "audio: out123_param(ao1, 8, 0, 0, \"./bin/\")",
                                        "audio: out123_open(ao1, null, null)",
                                        "audio: check on_status_changed",
                                        "audio: check status",
                                        "audio: qz_system_service_exec()",
                                    }));
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status opened"});
    EXPECT_EQ(status(), qz_audio_status_opened);
    EXPECT_NE(record().mh, nullptr);
    EXPECT_NE(record().ao, nullptr);
}

TEST_F(OutputTest, ReportsItsChecksWithTheirTexts)
{
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(checks(no_decoder.message), std::vector<check>{no_decoder});
    EXPECT_EQ(checks(no_output.message), std::vector<check>{no_output});
    EXPECT_EQ(checks(no_status.message), std::vector<check>{no_status});
}

TEST_F(OutputTest, ASecondOpenReportsAllThreeChecksAndGoesOn)
{
    observe(player);
    bring_to(qz_audio_status_opened);
    take_events();
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{failed(no_decoder), failed(no_status), failed(no_output)}));
    EXPECT_EQ(take_events(), lines{"status opened"});
    EXPECT_EQ(substitute::decoders_alive(), 2U);
    EXPECT_EQ(substitute::outputs_alive(), 2U);
    expect_lost_handles(1, 1);
}

TEST_F(OutputTest, ClearsTheErrorOnceItIsOpen)
{
    answer("out123_open", OUT123_ERR);
    answer("out123_errcode", OUT123_DEV_OPEN);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(record().error, OUT123_DEV_OPEN);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(record().error, 0);
}

/// The error is still that of before while the status is being reported.
TEST_F(OutputTest, ClearsTheErrorAfterTheStatusWasReported)
{
    record().error = 5;
    int error = -1;
    at_call("mpg123_new", [&] { record().error = 5; });
    at_call("out123_open", [&] { record().error = 5; });
    at_call("qz_system_service_exec", [&] { error = record().error; });
    observe(player);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(error, 5);
    EXPECT_EQ(record().error, 0);
}

TEST_F(OutputTest, HoldsNoLockWhileTheLibrariesAreCalled)
{
    platform::watch_locks();
    bring_to(qz_audio_status_loaded);
    for (const auto& each : calls_since()) {
        EXPECT_FALSE(each.locked && (each.function.rfind("mpg123_", 0) == 0 ||
                                     each.function.rfind("out123_", 0) == 0))
            << each.text();
    }
}

// The output-module path

TEST_F(OutputTest, HandsOverTheModulePathAsItStandsWhenItOpens)
{
    qz_audio_open(player);
    qz_audio_set_bin_path("/a/path/without/slash"); // read when the task runs
    platform::run_all();
    EXPECT_EQ(calls_to("out123_param"),
              lines{"out123_param(ao1, 8, 0, 0, \"/a/path/without/slash\")"});

    forget();
    qz_audio_set_bin_path("a later one");
    EXPECT_EQ(calls_to("out123_"), lines{}) << "an open output keeps its own";
}

TEST_F(OutputTest, AnEmptyModulePathIsNotHandedOver)
{
    EXPECT_EQ(qz_audio_get_bin_path(), "./bin/");
    qz_audio_set_bin_path("");
    EXPECT_EQ(qz_audio_get_bin_path(), "");
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(calls_to("out123_"), (lines{"out123_new()", "out123_open(ao1, null, null)"}));
}

TEST_F(OutputTest, ResultsThatAreNotCheckedChangeNothing)
{
    observe(player);
    answer("mpg123_param", MPG123_BAD_PARAM);
    answer("out123_param", OUT123_ERR);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status opened"});
    EXPECT_EQ(record().error, 0);
}

// Failures

TEST_F(OutputTest, WithoutADecoderNothingIsMadeAndItsCodeIsReported)
{
    answer("mpg123_new", MPG123_OUT_OF_MEM);
    expect_refused_open({"mpg123_new(null)", "mpg123_strerror(null)"}, MPG123_OUT_OF_MEM);
}

TEST_F(OutputTest, WithoutAnOutputBothAreReleasedAnd7IsReported)
{
    answer("out123_new", 0);
    expect_refused_open(
        {
            "mpg123_new(null)",
            "mpg123_param(mh1, 1, 64, 64)",
            "out123_new()",
            "out123_del(null)",
            "mpg123_close(mh1)",
            "mpg123_delete(mh1)",
            "mpg123_strerror(null)",
        },
        7);
}

TEST_F(OutputTest, AFailedOpenReleasesBothBeforeItIsReported)
{
    answer("out123_open", OUT123_ERR);
    answer("out123_errcode", OUT123_BAD_DRIVER);
    expect_refused_open(
        {
            "mpg123_new(null)",
            "mpg123_param(mh1, 1, 64, 64)",
            "out123_new()",
            "out123_param(ao1, 8, 0, 0, \"./bin/\")",
            "out123_open(ao1, null, null)",
            "out123_errcode(ao1)",
            "out123_del(ao1)",
            "mpg123_close(mh1)",
            "mpg123_delete(mh1)",
            "mpg123_strerror(null)",
        },
        OUT123_BAD_DRIVER);
    EXPECT_EQ(property<std::string>("error_str"), "decoder error 10");
}

TEST_F(OutputTest, AnyResultButZeroIsAFailedOpen)
{
    for (const int result : {-1, 1, 12}) {
        answer("out123_open", result);
        qz_audio_open(player);
        platform::run_all();
        EXPECT_EQ(status(), qz_audio_status_none);
        EXPECT_EQ(substitute::outputs_alive(), 0U);
    }
}

TEST_F(OutputTest, APlayAfterAFailedOpenTriesTheWholeOpenAgain)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    answer("out123_open", OUT123_ERR);
    answer("out123_errcode", OUT123_DEV_OPEN);
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"error " + std::to_string(OUT123_DEV_OPEN)});

    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "status playing", "status stopped"}));
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
}

TEST_F(OutputTest, TheRecordsDriverAndDeviceAreHandedOver)
{
    record().driver = "a driver";
    record().device = "a device";
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(calls_to("out123_open"), lines{"out123_open(ao1, \"a driver\", \"a device\")"});
}
