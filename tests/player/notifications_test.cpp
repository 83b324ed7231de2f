#include "player_test.h"

#include <algorithm>
#include <stdexcept>

namespace
{

constexpr auto read_status_callback =
    "qz_property_get_extract<std::function<void(qz_audio_ptr,qz_audio_status)>> (ptr->property_list,\"on_status_changed\",&on_status_change_cb)";
constexpr auto store_status =
    "qz_property_set<qz_audio_status>(ptr->property_list,\"status\",new_status)";
constexpr auto store_text =
    "qz_property_set<std::string> (ptr->property_list,\"error_str\",error_str)";
constexpr auto read_error_callback =
    "qz_property_get_extract<std::function<void(qz_audio_ptr,int)>> (ptr->property_list,\"on_error\",&on_error)";
constexpr auto read_volume_callback =
    "qz_property_get_extract<std::function<void(qz_audio_ptr,int)>> (ptr->property_list,\"on_volume_change\",&on_volume_change)";
constexpr auto store_volume =
    "qz_property_set<int>(ptr->property_list,\"audio_volume\",new_volume)";

constexpr int some_code = MPG123_OUT_OF_SYNC;

/// An event that the test makes the player have, and what becomes of it.
struct event {
    std::string name;
    void (*cause)(const qz_audio_ptr&);
    std::string value;    ///< Where the new value is stored.
    std::string callback; ///< Where the callback is.
    check stores;
    check reads;
    lines told;

    friend void PrintTo(const event& shown, std::ostream* out) { *out << shown.name; }
};

const std::vector<event> events{
    {"Status",
     [](const qz_audio_ptr& player) { qz_audio_open(player); },
     "status",
     "on_status_changed",
     {true, store_status, "status"},
     {true, read_status_callback, "on_status_changed"},
     {"status opened"}},
    {"Error",
     [](const qz_audio_ptr& player) {
         answer("mpg123_new", some_code);
         qz_audio_open(player);
     },
     "error_str",
     "on_error",
     {true, store_text, "error_str"},
     {true, read_error_callback, "on_error"},
     {"error " + std::to_string(some_code)}},
    {"Volume",
     [](const qz_audio_ptr& player) { qz_audio_set_volume(player, 70); },
     "audio_volume",
     "on_volume_change",
     {true, store_volume, "audio_volume"},
     {true, read_volume_callback, "on_volume_change"},
     {"volume 70"}},
};

} // namespace

class NotificationTest : public PlayerTest, public testing::WithParamInterface<event>
{
protected:
    void cause_event()
    {
        GetParam().cause(player);
        platform::run_all();
    }

    void expect_the_new_value()
    {
        if (GetParam().name == "Status") {
            EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_status_opened);
        } else if (GetParam().name == "Error") {
            EXPECT_EQ(property<std::string>("error_str"), "decoder error 10");
        } else {
            EXPECT_EQ(property<int>("audio_volume"), 70);
        }
    }
};

TEST_P(NotificationTest, StoresTheValueAndThenPostsTheCallbackUnderTheLock)
{
    observe(player);
    platform::watch_locks();
    GetParam().cause(player);
    platform::run_one("audio");
    expect_the_new_value();
    EXPECT_EQ(take_events(), lines{});

    const auto made = calls_since();
    const auto post = std::find_if(made.begin(), made.end(), [](const auto& each) {
        return each.function == "qz_system_service_exec";
    });
    ASSERT_NE(post, made.end());
    EXPECT_TRUE(post->locked);
    EXPECT_EQ(post->thread, "audio");
    EXPECT_EQ(platform::waiting("system"), 1U);
    platform::run_one("system");
    EXPECT_EQ(take_events(), GetParam().told);
}

TEST_P(NotificationTest, ReportsItsAccessesWithTheirTexts)
{
    cause_event();
    EXPECT_EQ(checks(GetParam().value), std::vector<check>{GetParam().stores});
    EXPECT_EQ(checks(GetParam().callback), std::vector<check>{GetParam().reads});
}

TEST_P(NotificationTest, WithoutACallbackStoresTheValueAndPostsNothing)
{
    cause_event();
    expect_the_new_value();
    EXPECT_EQ(calls_to("qz_system_service_exec"), lines{});
}

TEST_P(NotificationTest, OfAValueThatIsMissingStillRuns)
{
    observe(player);
    broken_property broken(player, GetParam().value);
    cause_event();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{failed(GetParam().stores)});
    EXPECT_EQ(take_events(), GetParam().told);
}

TEST_P(NotificationTest, OfAValueOfAnotherTypeStillRuns)
{
    observe(player);
    broken_property broken(player, GetParam().value, broken_property::how::mistyped);
    cause_event();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{failed(GetParam().stores)});
    EXPECT_EQ(take_events(), GetParam().told);
}

TEST_P(NotificationTest, WithAMissingCallbackStoresTheValueAndPostsNothing)
{
    broken_property broken(player, GetParam().callback);
    cause_event();
    expect_the_new_value();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{failed(GetParam().reads)});
    EXPECT_EQ(calls_to("qz_system_service_exec"), lines{});
}

TEST_P(NotificationTest, WithACallbackOfAnotherTypeStoresTheValueAndPostsNothing)
{
    broken_property broken(player, GetParam().callback, broken_property::how::mistyped);
    cause_event();
    expect_the_new_value();
    EXPECT_EQ(take_failed_checks(), std::vector<check>{failed(GetParam().reads)});
    EXPECT_EQ(calls_to("qz_system_service_exec"), lines{});
}

TEST_P(NotificationTest, KeepsAPlayerAliveThatTheApplicationHasLetGo)
{
    observe(player);
    GetParam().cause(player);
    platform::run_one("audio");
    qz_object_unref_real(player);
    player.reset();
    EXPECT_EQ(platform::live_count("[qz_audio]"), 1);
    platform::run_one("system");
    EXPECT_EQ(take_events(), GetParam().told);
    EXPECT_EQ(platform::live_count("[qz_audio]"), 0);
}

/// What the callback captured is let go after the lock, also when the callback is cleared while its
/// copy is on the way.
TEST_P(NotificationTest, LetsItsCopyOfTheCallbackGoAfterTheLock)
{
    unsigned ends = 0;
    auto captured = capture_that_calls_back(player, ends);
    qz_audio_on_status_change(player, [captured](qz_audio_ptr, qz_audio_status) {});
    qz_audio_on_error(player, [captured](qz_audio_ptr, int) {});
    qz_audio_on_volume_change(player, [captured](qz_audio_ptr, int) {});
    captured.reset();
    // The post is refused once the property has lost the callback: the local copy is the last.
    at_call("qz_system_service_exec", [this] {
        for (const auto& callback : {"on_status_changed", "on_error", "on_volume_change"}) {
            player->property_list.erase(callback);
        }
        throw std::runtime_error("refused");
    });
    cause_event();
    EXPECT_EQ(ends, 1U);
    EXPECT_EQ(take_escaped_exceptions(), lines{"refused"});
    EXPECT_FALSE(platform::is_locked(*player));
    end_player();
    take_failed_checks();
}

INSTANTIATE_TEST_SUITE_P(Of, NotificationTest, testing::ValuesIn(events),
                         [](const auto& row) { return row.param.name; });

using NotificationsTest = PlayerTest;

TEST_F(NotificationsTest, AStatusTakesItsStepsInOrder)
{
    observe(player);
    qz_audio_open(player);
    platform::run_one("audio");
    const lines all = steps();
    EXPECT_EQ((lines{all.end() - 3, all.end()}),
              (lines{"check on_status_changed", "check status", "qz_system_service_exec()"}));
}

TEST_F(NotificationsTest, AVolumeTakesItsStepsInOrder)
{
    observe(player);
    qz_audio_set_volume(player, 70);
    platform::run_one("audio");
    const lines all = steps();
    EXPECT_EQ((lines{all.end() - 3, all.end()}),
              (lines{"check on_volume_change", "check audio_volume", "qz_system_service_exec()"}));
}

TEST_F(NotificationsTest, AnErrorTakesItsStepsInOrder)
{
    observe(player);
    answer("mpg123_new", some_code);
    qz_audio_open(player);
    platform::run_one("audio");
    const lines all = steps();
    EXPECT_EQ((lines{all.end() - 5, all.end()}),
              (lines{"check audio_data", "mpg123_strerror(null)", "check error_str",
                     "check on_error", "qz_system_service_exec()"}));
}

// The error text

TEST_F(NotificationsTest, TheErrorTextIsTheDecodersAndTheCodeIsTheOutputs)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    take_events();
    forget();
    answer("out123_start", OUT123_ERR);
    answer("out123_errcode", OUT123_DEV_OPEN);
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(property<std::string>("error_str"), "decoder error 0");
    EXPECT_EQ(take_events(), (lines{"status none", "error " + std::to_string(OUT123_DEV_OPEN)}));
    EXPECT_EQ(calls_to("out123_strerror"), lines{});
}

TEST_F(NotificationsTest, WithoutADecodersTextItIsTheOutputs)
{
    observe(player);
    answer("mpg123_strerror", 0);
    answer("mpg123_new", some_code);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(property<std::string>("error_str"),
              "output error " + std::to_string(OUT123_BAD_HANDLE));
    EXPECT_EQ(calls_to("out123_strerror"), lines{"out123_strerror(null)"});
    EXPECT_EQ(take_events(), lines{"error " + std::to_string(some_code)});
}

TEST_F(NotificationsTest, WithoutAnyTextTheFormerOneStays)
{
    observe(player);
    std::string former = "the former text";
    qz_audio_get_last_error_string(player, former);
    forget();
    answer("mpg123_strerror", 0);
    answer("out123_strerror", 0);
    answer("mpg123_new", some_code);
    qz_audio_open(player);
    platform::run_all();
    EXPECT_EQ(property<std::string>("error_str"), "the former text");
    EXPECT_EQ(checks("error_str"), std::vector<check>{});
    EXPECT_EQ(take_events(), lines{"error " + std::to_string(some_code)});
}

TEST_F(NotificationsTest, WithoutARecordTheFormerTextStaysAndTheCallbackIsTold)
{
    observe(player);
    std::string former = "the former text";
    qz_audio_get_last_error_string(player, former);
    bring_to(qz_audio_status_opened);
    take_events();
    forget();
    std::unique_ptr<broken_property> without_record;
    at_call("mpg123_errcode",
            [&] { without_record = std::make_unique<broken_property>(player, "audio_data"); });
    qz_audio_set_audio_track(player, "nowhere");
    platform::run_all();
    without_record.reset();
    EXPECT_EQ(property<std::string>("error_str"), "the former text");
    EXPECT_EQ(calls_to("mpg123_strerror"), lines{});
    EXPECT_EQ(take_events(), lines{"error " + std::to_string(MPG123_BAD_FILE)});
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{
                  {false,
                   "qz_property_get_extract<_audio_data*>(ptr->property_list,\"audio_data\",&data)",
                   "audio_data"}}));
}

TEST_F(NotificationsTest, ACodeOf0IsToldLikeAnyOther)
{
    observe(player);
    answer("out123_start", OUT123_ERR);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", "status none", "error 0"}));
    EXPECT_EQ(property<std::string>("error_str"), "decoder error 10");
}

TEST_F(NotificationsTest, TheSameStatusAgainIsToldAgain)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status loaded"}));
}

// What callbacks find

TEST_F(NotificationsTest, ACallbackReadsTheStatusThatItIsTold)
{
    lines told;
    qz_audio_on_status_change(player, [&](qz_audio_ptr by, qz_audio_status status) {
        told.push_back(status_name(status));
        EXPECT_EQ(qz_audio_get_playback_status(by), status);
    });
    platform::run_system_after_each_task();
    qz_audio_open(player);
    qz_audio_set_audio_track(player, "song");
    platform::run_all();
    end_player();
    EXPECT_EQ(told, (lines{"opened", "loaded", "none"}));
}

TEST_F(NotificationsTest, AreRunInTheOrderOfThePlayersThread)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    qz_audio_set_volume(player, 1);
    qz_audio_set_audio_track(player, "nowhere");
    qz_audio_set_volume(player, 2); // refused: the player holds an error
    qz_audio_play(player);          // nothing to read
    platform::run_all();
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "volume 1",
                     "error " + std::to_string(MPG123_BAD_FILE), "error -1", "error -1"}));
}

TEST_F(NotificationsTest, ACallbackThatThrowsIsThePlatformsConcern)
{
    qz_audio_on_volume_change(player, [](qz_audio_ptr, int) { throw std::runtime_error("mine"); });
    qz_audio_set_volume(player, 1);
    qz_audio_set_volume(player, 2);
    platform::run_all();
    EXPECT_EQ(take_escaped_exceptions(), (lines{"mine", "mine"}));
    EXPECT_EQ(property<int>("audio_volume"), 2);
}
