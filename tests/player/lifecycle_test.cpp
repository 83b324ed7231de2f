#include "failing_allocation.h"
#include "player_test.h"

#include <gmock/gmock.h>

#include <map>
#include <system_error>

using callback_of_code = std::function<void(qz_audio_ptr, int)>;
using callback_of_status = std::function<void(qz_audio_ptr, qz_audio_status)>;

namespace
{

constexpr auto type_of_status = "std::function<void(qz_audio_ptr,qz_audio_status)>";
constexpr auto type_of_code = "std::function<void(qz_audio_ptr,int)>";

std::string init_of(const std::string& type, const std::string& name, const std::string& value)
{
    return "qz_property_init<" + type + ">(property_list,\"" + name + "\"," + value + ")";
}

/// The thirteen guarded calls that create the properties, in order.
std::vector<check> creations(bool passed)
{
    return {
        {passed, init_of("_audio_data*", "audio_data", "adata"), "audio_data"},
        {passed, init_of("std::string", "audio_track", "\"\""), "audio_track"},
        {passed, init_of("std::string", "error_str", "\"\""), "error_str"},
        {passed, init_of("qz_audio_status", "status", "qz_audio_status::qz_audio_status_none"),
         "status"},
        {passed, init_of("int", "audio_volume", "100"), "audio_volume"},
        {passed, init_of("int", "volume_increment_timeout", "500"), "volume_increment_timeout"},
        {passed, init_of("int", "volume_decrement_timeout", "500"), "volume_decrement_timeout"},
        {passed, init_of("bool", "repeat", "false"), "repeat"},
        {passed, init_of("int", "volume_increment_step", "10"), "volume_increment_step"},
        {passed, init_of("int", "volume_decrement_step", "10"), "volume_decrement_step"},
        {passed, init_of(type_of_code, "on_error", "nullptr"), "on_error"},
        {passed, init_of(type_of_code, "on_volume_change", "nullptr"), "on_volume_change"},
        {passed, init_of(type_of_status, "on_status_changed", "nullptr"), "on_status_changed"},
    };
}

/// The steps of `qz_audio_new`.
const lines construction{
    "caller: _qz_object()",
    "caller: qz_thread_service_new(\"audio\")",
    "caller: qz_object_ref_increment(\"[qz_audio]\")",
    "caller: qz_thread_service_to_object(audio)",
    "caller: qz_object_unref_real(audio)",
    "caller: check audio_data",
    "caller: check audio_track",
    "caller: check error_str",
    "caller: check status",
    "caller: check audio_volume",
    "caller: check volume_increment_timeout",
    "caller: check volume_decrement_timeout",
    "caller: check repeat",
    "caller: check volume_increment_step",
    "caller: check volume_decrement_step",
    "caller: check on_error",
    "caller: check on_volume_change",
    "caller: check on_status_changed",
    "caller: qz_object_ref(player)",
};

/// The steps from the completion of the stop to the end of the registry's hold.
lines take_down(const std::string& output, const std::string& decoder, const lines& report)
{
    const lines released{
        "system: check audio_data",
        "system: out123_del(" + output + ")",
        "system: mpg123_close(" + decoder + ")",
        "system: mpg123_delete(" + decoder + ")",
    };
    const lines ended{
        "system: property_lock(player)",
        "system: check on_status_changed",
        "system: check on_error",
        "system: check on_volume_change",
        "system: property_unlock(player)",
        "system: qz_thread_service_stop(audio)",
        "system: qz_system_service_exec()",
        "system: is_reffed(player)",
        "system: qz_object_unref_real(player)",
    };
    return in_sequence({released, report, ended});
}

/// The steps of the destructor on a thread, after a destroy.
lines destruction_on(const std::string& thread)
{
    return {
        thread + ": check audio_data",
        thread + ": property_lock(player)",
        thread + ": check audio_data",
        thread + ": property_unlock(player)",
        thread + ": qz_object_ref_decrement(\"[qz_audio]\")",
        thread + ": ~_qz_thread_service(audio)",
        thread + ": ~_qz_object(player)",
    };
}

struct other_type {
};

} // namespace

// Creation

using CreationTest = PlatformTest;

TEST_F(CreationTest, TakesItsStepsInOrderOnTheCallersThreadWithoutALock)
{
    platform::watch_locks();
    qz_audio_ptr player = qz_audio_new();
    EXPECT_EQ(steps_with_threads(), construction);
    for (const auto& each : substitute::calls()) {
        EXPECT_FALSE(each.locked) << each.text();
    }
    qz_audio_destroy(player, "main", 1);
}

TEST_F(CreationTest, ReportsEachPropertyWithItsText)
{
    qz_audio_ptr player = qz_audio_new();
    for (const auto& creation : creations(true)) {
        EXPECT_EQ(checks(creation.message), std::vector<check>{creation});
    }
    qz_audio_destroy(player, "main", 1);
}

TEST_F(CreationTest, GivesEveryPropertyItsTypeAndDefault)
{
    qz_audio_ptr player = qz_audio_new();
    const auto property = [&](const std::string& name) { return player->property_list.at(name); };
    const auto* const record = boost::any_cast<_audio_data*>(property("audio_data"));
    EXPECT_EQ(boost::any_cast<std::string>(property("audio_track")), "");
    EXPECT_EQ(boost::any_cast<std::string>(property("error_str")), "");
    EXPECT_EQ(boost::any_cast<qz_audio_status>(property("status")), qz_audio_status_none);
    EXPECT_EQ(boost::any_cast<int>(property("audio_volume")), 100);
    EXPECT_EQ(boost::any_cast<int>(property("volume_increment_timeout")), 500);
    EXPECT_EQ(boost::any_cast<int>(property("volume_decrement_timeout")), 500);
    EXPECT_FALSE(boost::any_cast<bool>(property("repeat")));
    EXPECT_EQ(boost::any_cast<int>(property("volume_increment_step")), 10);
    EXPECT_EQ(boost::any_cast<int>(property("volume_decrement_step")), 10);
    EXPECT_FALSE(boost::any_cast<callback_of_code>(property("on_error")));
    EXPECT_FALSE(boost::any_cast<callback_of_code>(property("on_volume_change")));
    EXPECT_FALSE(boost::any_cast<callback_of_status>(property("on_status_changed")));
    EXPECT_FALSE(boost::any_cast<bool>(property("object-destroyed")));
    EXPECT_EQ(player->property_list.size(), 14U);

    EXPECT_NE(record, nullptr);
    EXPECT_NE(player->thread_service, nullptr);
    EXPECT_EQ(player->volume_interval_id, 0U);
    EXPECT_EQ(player->play_generation, 0U);
    qz_audio_destroy(player, "main", 1);
}

TEST_F(CreationTest, HasTheRegistryHoldThePlayerAndCountIt)
{
    qz_audio_ptr player = qz_audio_new();
    EXPECT_TRUE(player->is_reffed());
    EXPECT_EQ(platform::registry_holds(), 1U) << "of the player, not of its thread service";
    EXPECT_EQ(platform::live_count("[qz_audio]"), 1);
    auto* const object = player.get();
    player.reset();
    EXPECT_EQ(platform::objects(), 2U);
    EXPECT_EQ(platform::live_count("[qz_audio]"), 1);
    qz_object_unref_real(object->shared_object());
}

TEST_F(CreationTest, GoesOnAfterAPropertyThatCannotBeCreated)
{
    for (const auto& creation : creations(false)) {
        if (creation.message == "audio_data") {
            continue;
        }
        platform::initial_properties()[creation.message] = other_type{};
        qz_audio_ptr player = qz_audio_new();
        EXPECT_EQ(take_failed_checks(), std::vector<check>{creation});
        EXPECT_EQ(player->property_list.size(), 14U);
        EXPECT_EQ(player->property_list.at(creation.message).type(), typeid(other_type));
        platform::initial_properties().erase(creation.message);

        player->property_list.erase(creation.message);
        qz_audio_destroy(player, "main", 1);
        player.reset();
        platform::run_all();
        take_failed_checks();
    }
}

TEST_F(CreationTest, KeepsARecordThatIsThereAlready)
{
    auto* const present = new _audio_data;
    platform::initial_properties()["audio_data"] = present;
    const first_allocation looked_for(sizeof(_audio_data));
    qz_audio_ptr player = qz_audio_new();
    // Nobody owns the player's own record then.
    const std::unique_ptr<_audio_data> lost(static_cast<_audio_data*>(first_allocation::address()));
    ASSERT_NE(lost, nullptr);
    EXPECT_EQ(take_failed_checks(), std::vector<check>{creations(false).front()});
    EXPECT_EQ(boost::any_cast<_audio_data*>(player->property_list.at("audio_data")), present);
    qz_audio_destroy(player, "main", 1);
}

/// Whatever the platform refuses on the way, nothing of the player is left.
class FailedCreationTest : public PlatformTest, public testing::WithParamInterface<std::size_t>
{
};

TEST_P(FailedCreationTest, LeavesNothingBehind)
{
    const std::string& step = construction.at(GetParam());
    qz_audio_destroy(qz_audio_new(), "main", 1);
    platform::run_all();
    const auto made = substitute::calls();
    const std::size_t own_steps = construction.size();
    ASSERT_GE(made.size(), own_steps);

    // The failing step is the n-th call of its function.
    const std::string function = made.at(GetParam()).function;
    unsigned occurrence = 0;
    for (std::size_t call = 0; call <= GetParam(); ++call) {
        occurrence += made.at(call).function == function ? 1U : 0U;
    }
    at_call(
        function, [] { throw std::system_error(EAGAIN, std::generic_category(), "refused"); },
        occurrence);
    forget();
    EXPECT_THROW(qz_audio_new(), std::system_error) << step;
    platform::run_all();
    EXPECT_EQ(platform::objects(), 0U) << step;
    EXPECT_EQ(platform::threads(), 0U) << step;
    EXPECT_EQ(platform::registry_holds(), 0U) << step;
    EXPECT_EQ(platform::live_count("[qz_audio]"), 0) << step;
}

INSTANTIATE_TEST_SUITE_P(AtEachStep, FailedCreationTest,
                         testing::Range<std::size_t>(0, construction.size()));

TEST_F(CreationTest, WithoutMemoryLeavesNothingBehind)
{
    unsigned failures = 0;
    for (qz_audio_ptr player; !player;) {
        try {
            const failing_allocation failing(failures + 1);
            player = qz_audio_new();
        } catch (const std::bad_alloc&) {
            ++failures;
            platform::run_all();
            EXPECT_EQ(platform::objects(), 0U);
            EXPECT_EQ(platform::threads(), 0U);
            EXPECT_EQ(platform::registry_holds(), 0U);
            EXPECT_EQ(platform::live_count("[qz_audio]"), 0);
            continue;
        }
        qz_audio_destroy(player, "main", 1);
    }
    EXPECT_GT(failures, 13U) << "the player, its record and its properties";
}

// The platform's virtual operations

using LifecycleTest = PlayerTest;

TEST_F(LifecycleTest, IsAnObjectOfThePlatform)
{
    _qz_object& object = *player;
    EXPECT_EQ(object.type_tag(), "[qz_audio]");
    EXPECT_EQ(object.shared_object(), player);
}

TEST_F(LifecycleTest, HasNoHandleOfItselfOnceNothingOwnsIt)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    _qz_object* const object = player.get();
    bool asked = false;
    at_call("property_lock", [&] {
        EXPECT_THROW(object->shared_object(), boost::bad_weak_ptr);
        object->property_list["object-destroyed"] = false;
        EXPECT_THROW(object->destroy("main", 42), boost::bad_weak_ptr);
        asked = true;
    });
    player.reset();
    EXPECT_TRUE(asked);
}

TEST_F(LifecycleTest, AWeakReferenceToAnotherObjectEndsTheProcess)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    const qz_audio_ptr other = qz_audio_new();
    _qz_object* const object = player.get();
    bool asked = false;
    at_call("property_lock", [&] {
        object->_internal_accept_owner(&other, other.get());
        EXPECT_DEATH(object->shared_object(), "p.get\\(\\) == this");
        asked = true;
    });
    player.reset();
    EXPECT_TRUE(asked);
    qz_audio_destroy(other, "main", 2);
    platform::run_all();
}

// Destruction

TEST_F(LifecycleTest, DestroyOfAFreshPlayerTakesItsStepsInOrder)
{
    qz_audio_destroy(player, "main", 1);
    EXPECT_EQ(steps_with_threads(), lines{"caller: qz_thread_service_exec(audio)"});
    EXPECT_TRUE(property<bool>("object-destroyed"));

    forget();
    EXPECT_TRUE(platform::run_one("audio"));
    EXPECT_EQ(steps_with_threads(),
              (lines{"audio: check audio_data", "audio: qz_system_service_exec()"}));

    forget();
    platform::run_all();
    EXPECT_EQ(steps_with_threads(), take_down("null", "null", {}));

    forget();
    player.reset();
    EXPECT_EQ(steps_with_threads(), destruction_on("caller"));
}

TEST_F(LifecycleTest, DestroyOfAPlayingPlayerTakesItsStepsInOrder)
{
    observe(player);
    act_in(qz_audio_status_playing, [this] {
        qz_audio_destroy(player, "main", 1);
        player.reset();
    });
    const lines report{"system: check on_status_changed", "system: check status",
                       "system: qz_system_service_exec()"};
    EXPECT_EQ(steps_with_threads(), in_sequence({{
                                                     "caller: qz_thread_service_exec(audio)",
                                                     "audio: check audio_data",
                                                     "audio: out123_drop(ao1)",
                                                     "audio: out123_stop(ao1)",
                                                     "audio: mpg123_seek(mh1, 0, 0)",
                                                     "audio: check on_status_changed",
                                                     "audio: check status",
                                                     "audio: qz_system_service_exec()",
                                                     "audio: qz_system_service_exec()",
                                                 },
                                                 take_down("ao1", "mh1", report),
                                                 destruction_on("system")}));
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing",
                                    "status stopped", "status none"}));
}

TEST_F(LifecycleTest, TheCompletionOfThePlatformsStopMayComeOnAnyThread)
{
    platform::call_completions_on("");
    qz_audio_destroy(player, "main", 1);
    player.reset();
    platform::run_one("audio");
    platform::run_one("system");
    forget();
    platform::run_one("audio");
    EXPECT_EQ(steps_with_threads(), lines{"audio: qz_system_service_exec()"});
    platform::run_one("system");
    EXPECT_EQ(steps_with_threads(),
              in_sequence({{"audio: qz_system_service_exec()", "system: is_reffed(player)",
                            "system: qz_object_unref_real(player)"},
                           destruction_on("system")}));
}

struct destroy_case {
    qz_audio_status status;
    lines told;

    friend void PrintTo(const destroy_case& shown, std::ostream* out)
    {
        *out << status_name(shown.status);
    }
};

class DestroyTest : public PlayerTest, public testing::WithParamInterface<destroy_case>
{
};

TEST_P(DestroyTest, TellsTheStatusesOnTheWay)
{
    observe(player);
    act_in(GetParam().status, [this] {
        platform::run_all("system");
        take_events();
        qz_audio_destroy(player, "main", 1);
    });
    EXPECT_EQ(take_events(), GetParam().told);
    EXPECT_EQ(status(), qz_audio_status_none);
    EXPECT_EQ(record().mh, nullptr);
    EXPECT_EQ(record().ao, nullptr);
    EXPECT_EQ(substitute::decoders_alive(), 0U);
    EXPECT_EQ(substitute::outputs_alive(), 0U);
    EXPECT_FALSE(player->is_reffed());
    EXPECT_EQ(platform::threads(), 0U);
    EXPECT_EQ(player.use_count(), 1);
}

TEST_P(DestroyTest, IsRefusedTheSecondTime)
{
    act_in(GetParam().status, [this] {
        qz_audio_destroy(player, "main", 1);
        EXPECT_EQ(take_output(), lines{});
        forget();
        platform::watch_locks();
        lines written;
        at_call("describe", [&] { written = take_output(); });
        qz_audio_destroy(player, "main", 42);
        const std::string warning = std::string(warning_banner) +
                                    "CALLING DESTROY MULTIPLE TIMES IS NOT AN OPTION " +
                                    magenta("[qz_audio]") + "-main:42";
        EXPECT_EQ(written, lines{warning}) << "before the description";
        EXPECT_EQ(steps_with_threads(), lines{"caller: describe(player)"});
        EXPECT_TRUE(substitute::calls().back().locked);
        EXPECT_FALSE(platform::is_locked(*player));
    });
    EXPECT_EQ(platform::threads(), 0U);
    qz_audio_destroy(player, "later", 7);
    EXPECT_EQ(take_output().size(), 1U);
}

INSTANTIATE_TEST_SUITE_P(
    InEachStatus, DestroyTest,
    testing::Values(destroy_case{qz_audio_status_none, {}},
                    destroy_case{qz_audio_status_opened, {"status none"}},
                    destroy_case{qz_audio_status_loaded, {"status none"}},
                    destroy_case{qz_audio_status_playing, {"status stopped", "status none"}},
                    destroy_case{qz_audio_status_paused, {"status stopped", "status none"}},
                    destroy_case{qz_audio_status_stopped, {"status none"}}));

TEST_F(LifecycleTest, ADestroyMarkOfAnotherTypeIsReportedAndNothingIsTakenDown)
{
    player->property_list["object-destroyed"] = 1;
    qz_audio_destroy(player, "main", 1);
    const lines written = take_output();
    ASSERT_EQ(written.size(), 1U);
    const std::string start =
        std::string(error_banner) + "bad cast destroy any: src/qz_audio/qz_audio_lifecycle.cpp:";
    const std::string end = " - boost::bad_any_cast: failed conversion using boost::any_cast";
    ASSERT_EQ(written.front().substr(0, start.size()), start);
    const std::string rest = written.front().substr(start.size());
    const auto digits = rest.find_first_not_of("0123456789");
    EXPECT_GT(digits, 0U);
    EXPECT_EQ(rest.substr(digits), end);
    EXPECT_EQ(steps(), lines{});
    EXPECT_FALSE(platform::is_locked(*player));
    EXPECT_EQ(boost::any_cast<int>(player->property_list["object-destroyed"]), 1);

    player->property_list["object-destroyed"] = false;
}

TEST_F(LifecycleTest, WithoutADestroyMarkEveryDestroyRunsTheWholeSequence)
{
    player->property_list.erase("object-destroyed");
    qz_audio_destroy(player, "main", 1);
    qz_audio_destroy(player, "main", 2);
    EXPECT_EQ(calls_to("qz_thread_service_exec").size(), 2U);
    EXPECT_EQ(player->property_list.count("object-destroyed"), 0U);
    platform::run_all();
    EXPECT_EQ(platform::registry_holds(), 0U);
    player.reset();
}

TEST_F(LifecycleTest, ReadsTheDestroyMarkFromThePlatformUnderTheLock)
{
    platform::watch_locks();
    qz_audio_destroy(player, "main", 1);
    const auto made = substitute::calls();
    const auto& exec = made.back();
    const auto& get = made.at(made.size() - 2);
    EXPECT_EQ(get.text(), "qz_property_get(\"object-destroyed\")");
    EXPECT_TRUE(get.locked);
    EXPECT_EQ(exec.function, "qz_thread_service_exec");
    EXPECT_FALSE(exec.locked);
}

TEST_F(LifecycleTest, ClearsTheCallbacksUnderThePropertyLock)
{
    observe(player);
    platform::watch_locks();
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_EQ(
        checks("on_status_changed"),
        (std::vector<check>{{true,
                             "qz_property_set<std::function<void(qz_audio_ptr,qz_audio_status)>>"
                             "(property_list,\"on_status_changed\",nullptr)",
                             "on_status_changed"}}));
    EXPECT_FALSE(property<callback_of_status>("on_status_changed"));
    EXPECT_FALSE(property<callback_of_code>("on_error"));
    EXPECT_FALSE(property<callback_of_code>("on_volume_change"));
    std::map<std::string, bool> locked_at;
    for (const auto& each : substitute::calls()) {
        locked_at[each.function] = each.locked;
    }
    EXPECT_FALSE(locked_at.at("out123_del"));
    EXPECT_FALSE(locked_at.at("mpg123_delete"));
    EXPECT_TRUE(locked_at.at("qz_assertion_faild")) << "the last one is a cleared callback";
    EXPECT_FALSE(locked_at.at("qz_thread_service_stop"));
    EXPECT_FALSE(locked_at.at("qz_object_unref_real"));
}

TEST_F(LifecycleTest, DestroyGoesOnAfterAFailedCheck)
{
    const std::vector<check> clearings{
        {false,
         "qz_property_set<std::function<void(qz_audio_ptr,qz_audio_status)>>(property_list,\"on_status_changed\",nullptr)",
         "on_status_changed"},
        {false,
         "qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,\"on_error\",nullptr)",
         "on_error"},
        {false,
         "qz_property_set<std::function<void(qz_audio_ptr,int)>>(property_list,\"on_volume_change\",nullptr)",
         "on_volume_change"},
    };
    for (const auto& clearing : clearings) {
        player->property_list[clearing.message] = other_type{};
    }
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_EQ(take_failed_checks(), clearings);
    EXPECT_EQ(platform::threads(), 0U);
    EXPECT_EQ(platform::registry_holds(), 0U);
}

TEST_F(LifecycleTest, TheRecordIsReadThroughItsGuardedCall)
{
    const check read{
        true, "qz_property_get_extract<_audio_data*>(ptr->property_list,\"audio_data\",&data)",
        "audio_data"};
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_EQ(checks("audio_data"), (std::vector<check>{read, read}));
    forget();
    player.reset();
    EXPECT_EQ(checks("audio_data"),
              (std::vector<check>{
                  read,
                  {true, "qz_property_set<_audio_data*>(property_list,\"audio_data\",nullptr)",
                   "audio_data"}}));
}

TEST_F(LifecycleTest, TheDestructorGoesOnWithoutARecord)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    const std::unique_ptr<_audio_data> lost(&record());
    player->property_list["audio_data"] = other_type{};
    player.reset();
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{
                  {false,
                   "qz_property_get_extract<_audio_data*>(ptr->property_list,\"audio_data\",&data)",
                   "audio_data"}}));
}

TEST_F(LifecycleTest, TheDestructorGoesOnWhenTheRecordCannotBeCleared)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    at_call("property_lock",
            [object = player.get()] { object->property_list.erase("audio_data"); });
    player.reset();
    EXPECT_EQ(take_failed_checks(),
              (std::vector<check>{
                  {false, "qz_property_set<_audio_data*>(property_list,\"audio_data\",nullptr)",
                   "audio_data"}}));
}

TEST_F(LifecycleTest, TheDestructorReleasesWhatAPlayerThatWasNeverDestroyedHolds)
{
    play_with([this] { qz_audio_play(player); }); // leaves the block behind
    ASSERT_NE(record().buffer, nullptr);
    forget();
    qz_object_unref_real(player);
    player.reset();
    EXPECT_EQ(steps(), (lines{
                           "qz_object_unref_real(player)",
                           "check audio_data",
                           "property_lock(player)",
                           "out123_del(ao1)",
                           "mpg123_close(mh1)",
                           "mpg123_delete(mh1)",
                           "check audio_data",
                           "property_unlock(player)",
                           "qz_object_ref_decrement(\"[qz_audio]\")",
                           "~_qz_thread_service(audio)",
                           "~_qz_object(player)",
                       }));
}

TEST_F(LifecycleTest, APlayerThatTheRegistryDoesNotHoldIsNotReleasedFromIt)
{
    qz_object_unref_real(player);
    forget();
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_EQ(calls_to("is_reffed"), lines{"is_reffed(player)"});
    EXPECT_EQ(calls_to("qz_object_unref_real"), lines{});
}

using LifecycleDeathTest = LifecycleTest;

TEST_F(LifecycleDeathTest, AnExceptionInTheDestructorEndsTheProcess)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    EXPECT_DEATH(
        {
            at_call("qz_object_ref_decrement", [] { throw std::runtime_error("refused"); });
            player.reset();
        },
        "terminate");
}

TEST_F(LifecycleTest, AReportOfTheStopThatLacksMemoryIsTriedAgain)
{
    observe(player);
    act_in(qz_audio_status_playing, [this] {
        at_call("qz_system_service_exec", [] { throw std::bad_alloc(); });
        qz_audio_destroy(player, "main", 1);
    });
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing",
                                    "status stopped", "status none"}));
    EXPECT_EQ(platform::threads(), 0U);
    EXPECT_EQ(platform::registry_holds(), 0U);
}

TEST_F(LifecycleTest, AStopThatFailsDoesNotHoldTheDestructionUp)
{
    observe(player);
    act_in(qz_audio_status_playing, [this] {
        at_call("qz_system_service_exec", [] { throw std::runtime_error("refused"); });
        qz_audio_destroy(player, "main", 1);
    });
    EXPECT_EQ(take_escaped_exceptions(), lines{"refused"});
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "status playing", "status none"}));
    EXPECT_EQ(platform::threads(), 0U);
    EXPECT_EQ(platform::registry_holds(), 0U);
}

// Callbacks around destruction

TEST_F(LifecycleTest, ACallbackRegisteredAfterTheCallbacksWereClearedIsNeverCalled)
{
    bring_to(qz_audio_status_loaded);
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    observe(player);
    for (const auto& function : functions_of_a_handle()) {
        function.call(player);
        platform::run_all();
    }
    EXPECT_EQ(take_events(), lines{});
    EXPECT_EQ(take_output().size(), 1U) << "the second destroy";
}

TEST_F(LifecycleTest, NotificationsPostedBeforeTheEndStillRun)
{
    observe(player);
    qz_audio_open(player);
    qz_audio_destroy(player, "main", 1);
    player.reset();
    platform::run_all("audio");
    EXPECT_EQ(take_events(), lines{});
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", "status none"}));
}

TEST_F(LifecycleTest, DestroyLetsCapturesGoAfterTheLock)
{
    unsigned ends = 0;
    const auto capture = [&] { return capture_that_calls_back(player, ends); };
    qz_audio_on_status_change(player, [c = capture()](qz_audio_ptr, qz_audio_status) {});
    qz_audio_on_error(player, [c = capture()](qz_audio_ptr, int) {});
    qz_audio_on_volume_change(player, [c = capture()](qz_audio_ptr, int) {});
    qz_audio_destroy(player, "main", 1);
    EXPECT_EQ(ends, 0U);
    platform::run_all();
    EXPECT_EQ(ends, 3U);
}

// Destruction against the player's own thread

TEST_F(LifecycleTest, PostsOneTaskAndTasksPostedBeforeStillRun)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    qz_audio_set_volume(player, 30);
    forget();
    qz_audio_destroy(player, "main", 1);
    EXPECT_EQ(calls_to("qz_thread_service_exec"), lines{"qz_thread_service_exec(audio)"});
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "volume 30", "status none"}));
}

TEST_F(LifecycleTest, ARequestMadeAfterDestroyIsDropped)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    take_events();
    qz_audio_destroy(player, "main", 1);
    for (const auto& function : functions_of_a_handle()) {
        if (function.posts && function.name != "qz_audio_destroy") {
            function.call(player);
        }
    }
    platform::run_one("audio");
    forget();
    while (platform::waiting("audio") > 0) {
        platform::run_one("audio");
    }
    EXPECT_EQ(steps(), lines{"qz_system_service_exec()"}) << "the stop's callback and nothing else";
    platform::run_all();
    EXPECT_EQ(take_events(), lines{"status none"});
}

TEST_F(LifecycleTest, AStopAfterTheStopOfDestroyStillHandsOverItsCallback)
{
    unsigned called = 0;
    qz_audio_destroy(player, "main", 1);
    qz_audio_stop(player, [&](qz_audio_ptr by) {
        EXPECT_EQ(by, player);
        EXPECT_EQ(platform::current_thread(), "system");
        ++called;
    });
    platform::run_all();
    EXPECT_EQ(called, 1U);
}

TEST_F(LifecycleTest, AStopThatTheEndOfTheThreadDropsNeverCalls)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_one("audio");
    platform::run_one("system");
    const auto captured = std::make_shared<int>();
    qz_audio_stop(player, [captured](qz_audio_ptr) { FAIL() << "called"; });
    platform::run_all();
    EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(LifecycleTest, ATickAfterTheStopOfDestroyDoesNothing)
{
    observe(player);
    bring_to(qz_audio_status_loaded);
    qz_audio_volume_decrement_timeout_start(player, 0);
    platform::run_all();
    take_events();
    qz_audio_destroy(player, "main", 1);
    platform::run_one("audio");
    platform::advance(std::chrono::milliseconds(500));
    forget();
    EXPECT_TRUE(platform::run_one("audio"));
    EXPECT_EQ(steps(), lines{});
    EXPECT_EQ(record().volume, 100);
    platform::advance(std::chrono::milliseconds(500));
    EXPECT_EQ(platform::waiting("audio"), 0U) << "and it was the last";
}

/// A player is destroyed while play tasks are nested so deep, and the system service takes it down
/// before they have left.
class DestroyWhilePlayingTest : public PlayerTest, public testing::WithParamInterface<unsigned>
{
};

TEST_P(DestroyWhilePlayingTest, TheLoopsLeaveWithoutALookAtTheRecord)
{
    observe(player);
    substitute::put_track("at its end", {});
    qz_audio_set_audio_track(player, "at its end");
    qz_audio_set_repeat(player, true);
    platform::run_all();
    platform::run_system_after_each_task();
    qz_audio_play(player);
    for (unsigned depth = 1; depth < GetParam(); ++depth) {
        pause_when_served(depth);
        qz_audio_play(player);
    }
    qz_audio_destroy(player, "main", 1);
    forget();
    platform::run_one("audio");
    EXPECT_EQ(calls_to("mpg123_outblock").size(), GetParam()) << "entries that have played";
    EXPECT_EQ(platform::waiting("audio"), 0U);
    EXPECT_EQ(record().mh, nullptr);
    EXPECT_EQ(status(), qz_audio_status_none);
    EXPECT_NE(record().buffer, nullptr) << "freed by the destructor";
    EXPECT_FALSE(record().in_play);

    const lines libraries = library_calls();
    EXPECT_EQ((lines{libraries.end() - 3, libraries.end()}),
              (lines{"out123_del(ao1)", "mpg123_close(mh1)", "mpg123_delete(mh1)"}));
    platform::run_all();
    const lines events = take_events();
    EXPECT_EQ((lines{events.end() - 2, events.end()}), (lines{"status stopped", "status none"}));
}

INSTANTIATE_TEST_SUITE_P(AtEachDepth, DestroyWhilePlayingTest, testing::Values(1U, 2U, 3U, 8U));

TEST_F(LifecycleTest, APlayerWithoutHandlesPlaysOnUntilItIsDestroyed)
{
    observe(player);
    qz_audio_set_audio_track(player, "song");
    qz_audio_play(player);
    auto* const object = player.get();
    player.reset();
    platform::run_all();
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
    EXPECT_EQ(platform::live_count("[qz_audio]"), 1);
    player = boost::static_pointer_cast<_qz_audio>(object->shared_from_this());
}

TEST_F(LifecycleTest, ADestroyWithoutMemoryKeepsTheOtherProperties)
{
    ASSERT_TRUE(qz_audio_set_repeat(player, true));
    unsigned failures = 0;
    for (bool destroyed = false; !destroyed;) {
        try {
            const failing_allocation failing(failures + 1);
            qz_audio_destroy(player, "main", 1);
            destroyed = true;
        } catch (const std::bad_alloc&) {
            ++failures;
            EXPECT_TRUE(property<bool>("repeat"));
        }
    }
    EXPECT_GT(failures, 0U);
}
