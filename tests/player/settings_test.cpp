#include "player_test.h"

#include <limits>

namespace
{

constexpr auto set_status_callback =
    "qz_property_set<std::function<void(qz_audio_ptr,qz_audio_status)>>(property_list,\"on_status_changed\",cb)";
constexpr auto set_error_callback =
    "qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,\"on_error\",cb)";
constexpr auto set_volume_callback =
    "qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,\"on_volume_change\",cb)";

/// One guarded access of a function that works on the caller's thread.
struct guarded_access {
    std::string name;
    std::function<bool(qz_audio_ptr)>
        call; ///< Returns whether the result is the one that never changes.
    std::string expression;
    std::string property;

    friend void PrintTo(const guarded_access& shown, std::ostream* out) { *out << shown.name; }
};

const std::vector<guarded_access> accesses{
    {"get_playback_status",
     [](qz_audio_ptr p) { return qz_audio_get_playback_status(p) == qz_audio_status_none; },
     "qz_property_get_extract<qz_audio_status> (property_list,\"status\",&status)", "status"},
    {"get_current_track", [](qz_audio_ptr p) { return qz_audio_get_current_track(p).empty(); },
     "qz_property_get_extract<std::string> (property_list,\"audio_track\",&current_track)",
     "audio_track"},
    {"get_last_error_string",
     [](qz_audio_ptr p) {
         std::string text = "text";
         return qz_audio_get_last_error_string(p, text) && text == "text";
     },
     "qz_property_set<std::string> (ptr->property_list,\"error_str\",last_error)", "error_str"},
    {"on_status_change",
     [](qz_audio_ptr p) {
         return qz_audio_on_status_change(p, [](qz_audio_ptr, qz_audio_status) {});
     },
     set_status_callback, "on_status_changed"},
    {"on_error", [](qz_audio_ptr p) { return qz_audio_on_error(p, [](qz_audio_ptr, int) {}); },
     set_error_callback, "on_error"},
    {"on_volume_change",
     [](qz_audio_ptr p) { return qz_audio_on_volume_change(p, [](qz_audio_ptr, int) {}); },
     set_volume_callback, "on_volume_change"},
    {"clear_status_change", [](qz_audio_ptr p) { return qz_audio_on_status_change(p, nullptr); },
     set_status_callback, "on_status_changed"},
    {"clear_error", [](qz_audio_ptr p) { return qz_audio_on_error(p, nullptr); },
     set_error_callback, "on_error"},
    {"clear_volume_change", [](qz_audio_ptr p) { return qz_audio_on_volume_change(p, nullptr); },
     set_volume_callback, "on_volume_change"},
    {"set_repeat", [](qz_audio_ptr p) { return qz_audio_set_repeat(p, true); },
     "qz_property_set<bool>(property_list,\"repeat\",b)", "repeat"},
    {"set_audio_volume_decrement_step",
     [](qz_audio_ptr p) { return qz_audio_set_audio_volume_decrement_step(p, 7); },
     "qz_property_set<int>(property_list,\"volume_decrement_step\",v)", "volume_decrement_step"},
    {"set_audio_volume_decrement_timeout",
     [](qz_audio_ptr p) { return qz_audio_set_audio_volume_decrement_timeout(p, 7); },
     "qz_property_set<int>(property_list,\"volume_decrement_timeout\",t)",
     "volume_decrement_timeout"},
    {"set_audio_volume_increment_step",
     [](qz_audio_ptr p) { return qz_audio_set_audio_volume_increment_step(p, 7); },
     "qz_property_set<int>(property_list,\"volume_increment_step\",v)", "volume_increment_step"},
    {"set_audio_volume_increment_timeout",
     [](qz_audio_ptr p) { return qz_audio_set_audio_volume_increment_timeout(p, 7); },
     "qz_property_set<int>(property_list,\"volume_increment_timeout\",t)",
     "volume_increment_timeout"},
};

} // namespace

class AccessTest : public PlayerTest, public testing::WithParamInterface<guarded_access>
{
};

TEST_P(AccessTest, IsReportedAndMadeUnderTheLock)
{
    const auto& access = GetParam();
    platform::watch_locks();
    EXPECT_TRUE(access.call(player));
    EXPECT_EQ(checks(access.property),
              (std::vector<check>{{true, access.expression, access.property}}));
    EXPECT_FALSE(platform::is_locked(*player));
    for (const auto& each : calls_since()) {
        EXPECT_TRUE(each.locked || each.function != "qz_assertion_faild");
    }
}

TEST_P(AccessTest, OfAMissingPropertyIsReportedAndGivesTheSameResult)
{
    const auto& access = GetParam();
    broken_property broken(player, access.property);
    EXPECT_TRUE(access.call(player));
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{{false, access.expression, access.property}}));
    EXPECT_EQ(player->property_list.count(access.property), 0U) << "never created by a write";
    EXPECT_FALSE(platform::is_locked(*player));
}

TEST_P(AccessTest, OfAPropertyOfAnotherTypeIsReportedAndGivesTheSameResult)
{
    const auto& access = GetParam();
    broken_property broken(player, access.property, broken_property::how::mistyped);
    const auto& type = player->property_list.at(access.property).type();
    EXPECT_TRUE(access.call(player));
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{{false, access.expression, access.property}}));
    EXPECT_EQ(player->property_list.at(access.property).type(), type) << "never changed by a write";
}

INSTANTIATE_TEST_SUITE_P(For, AccessTest, testing::ValuesIn(accesses),
                         [](const auto& row) { return row.param.name; });

using SettingsTest = PlayerTest;

TEST_F(SettingsTest, ANewPlayerHasNoStatusAndNoTrack)
{
    EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_status_none);
    EXPECT_EQ(qz_audio_get_current_track(player), "");
}

TEST_F(SettingsTest, TheQueriesReadTheProperties)
{
    for (const auto each : all_statuses()) {
        player->property_list["status"] = each;
        EXPECT_EQ(qz_audio_get_playback_status(player), each);
    }
    player->property_list["status"] = qz_audio_status_none;
    player->property_list["audio_track"] = std::string("a path");
    EXPECT_EQ(qz_audio_get_current_track(player), "a path");
}

TEST_F(SettingsTest, TheTrackIsThatSetLastEvenWhenItCannotBeOpened)
{
    qz_audio_set_audio_track(player, "nowhere");
    EXPECT_EQ(qz_audio_get_current_track(player), "");
    platform::run_all();
    EXPECT_EQ(qz_audio_get_current_track(player), "nowhere");
}

TEST_F(SettingsTest, TheCallersTextBecomesTheErrorTextAndStaysAsItWas)
{
    std::string text = "the caller's text";
    EXPECT_TRUE(qz_audio_get_last_error_string(player, text));
    EXPECT_EQ(text, "the caller's text");
    EXPECT_EQ(property<std::string>("error_str"), "the caller's text");
    EXPECT_EQ(steps_with_threads(),
              (lines{"caller: property_lock(player)", "caller: check error_str",
                     "caller: property_unlock(player)"}));

    std::string empty;
    EXPECT_TRUE(qz_audio_get_last_error_string(player, empty));
    EXPECT_EQ(property<std::string>("error_str"), "");
}

TEST_F(SettingsTest, RepeatShowsAtOnceAndTakesEffectOnThePlayersThread)
{
    for (const bool repeat : {true, false}) {
        forget();
        EXPECT_TRUE(qz_audio_set_repeat(player, repeat));
        EXPECT_EQ(property<bool>("repeat"), repeat);
        EXPECT_EQ(record().repeat, !repeat);
        platform::run_all();
        EXPECT_EQ(record().repeat, repeat);
        EXPECT_EQ(steps_with_threads(), (lines{"caller: qz_thread_service_exec(audio)",
                                               "caller: check repeat", "audio: check audio_data"}));
    }
}

TEST_F(SettingsTest, StepsAndTimeoutsAreStoredUnchecked)
{
    struct setting {
        bool (*set)(qz_audio_ptr, int);
        const char* property;
    };
    const setting settings[] = {
        {qz_audio_set_audio_volume_increment_step, "volume_increment_step"},
        {qz_audio_set_audio_volume_decrement_step, "volume_decrement_step"},
        {qz_audio_set_audio_volume_increment_timeout, "volume_increment_timeout"},
        {qz_audio_set_audio_volume_decrement_timeout, "volume_decrement_timeout"},
    };
    for (const auto& each : settings) {
        for (const int value :
             {-3, 0, 1, 500, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
            EXPECT_TRUE(each.set(player, value));
            EXPECT_EQ(property<int>(each.property), value);
        }
        EXPECT_TRUE(each.set(player, 10));
    }
    EXPECT_EQ(library_calls(), lines{});
    EXPECT_EQ(calls_to("qz_thread_service"), lines{});
}

// Callbacks

TEST_F(SettingsTest, ANewCallbackReplacesTheFormerOne)
{
    lines told;
    qz_audio_on_volume_change(player, [&](qz_audio_ptr, int) { told.push_back("first"); });
    qz_audio_on_volume_change(player, [&](qz_audio_ptr, int) { told.push_back("second"); });
    qz_audio_set_volume(player, 1);
    platform::run_all();
    EXPECT_EQ(told, lines{"second"});
}

TEST_F(SettingsTest, ANotificationThatWasPostedKeepsTheCallbackOfItsTime)
{
    lines told;
    qz_audio_on_volume_change(player, [&](qz_audio_ptr, int) { told.push_back("first"); });
    qz_audio_set_volume(player, 1);
    platform::run_all("audio");
    qz_audio_on_volume_change(player, nullptr);
    qz_audio_set_volume(player, 2);
    platform::run_all();
    EXPECT_EQ(told, lines{"first"});
}

TEST_F(SettingsTest, AClearedErrorCallbackIsToldNothing)
{
    observe(player);
    EXPECT_TRUE(qz_audio_on_error(player, nullptr));
    bring_to(qz_audio_status_loaded);
    take_events();
    forget();
    qz_audio_set_audio_track(player, "nowhere");
    platform::run_all();
    EXPECT_EQ(take_events(), lines{});
    EXPECT_EQ(calls_to("qz_system_service_exec"), lines{});
}

TEST_F(SettingsTest, TheApplicationsOwnCopiesMayGoAtOnce)
{
    std::weak_ptr<int> watched;
    {
        const auto captured = std::make_shared<int>();
        watched = captured;
        qz_audio_on_volume_change(player, [captured](qz_audio_ptr, int) {});
    }
    EXPECT_EQ(watched.use_count(), 1) << "the property's";
    qz_audio_on_volume_change(player, nullptr);
    EXPECT_EQ(watched.use_count(), 0);
}

namespace
{

/// A function that counts its copies and is moved without a count.
class counting_function
{
public:
    explicit counting_function(unsigned& copies) : copies_(&copies) {}
    ~counting_function() = default;
    counting_function(const counting_function& other) : copies_(other.copies_) { ++*copies_; }
    counting_function(counting_function&&) = default;
    counting_function& operator=(const counting_function&) = delete;
    counting_function& operator=(counting_function&&) = delete;

    template <typename Argument>
    void operator()(qz_audio_ptr, Argument) const
    {
    }

private:
    unsigned* copies_;
};

} // namespace

TEST_F(SettingsTest, ACallbackThatIsHandedOverIsNotCopied)
{
    unsigned copies = 0;
    qz_audio_on_status_change(player, counting_function(copies));
    qz_audio_on_volume_change(player, counting_function(copies));
    qz_audio_on_error(player, counting_function(copies));
    EXPECT_EQ(copies, 0U);
}

TEST_F(SettingsTest, ReplacedCapturesAreLetGoAfterTheLock)
{
    unsigned ends = 0;
    const auto capture = [&] { return capture_that_calls_back(player, ends); };
    const auto on_code = [&] { return [c = capture()](qz_audio_ptr, int) {}; };
    const auto on_status = [&] { return [c = capture()](qz_audio_ptr, qz_audio_status) {}; };

    qz_audio_on_status_change(player, on_status());
    qz_audio_on_status_change(player, nullptr);
    EXPECT_EQ(ends, 1U);
    qz_audio_on_volume_change(player, on_code());
    qz_audio_on_volume_change(player, nullptr);
    EXPECT_EQ(ends, 2U);
    qz_audio_on_error(player, on_code());
    qz_audio_on_error(player, [](qz_audio_ptr, int) {});
    EXPECT_EQ(ends, 3U);
}

TEST_F(SettingsTest, ARefusedCallbackIsLetGoAfterTheLockToo)
{
    unsigned ends = 0;
    broken_property broken(player, "on_volume_change");
    qz_audio_on_volume_change(player,
                              [c = capture_that_calls_back(player, ends)](qz_audio_ptr, int) {});
    EXPECT_EQ(ends, 1U);
    EXPECT_EQ(take_failed_checks().size(), 1U);
}
