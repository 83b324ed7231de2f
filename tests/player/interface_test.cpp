#include "failing_allocation.h"
#include "player_test.h"

#include <dlfcn.h>

#include <boost/make_shared.hpp>

#include <cstring>
#include <iostream>
#include <limits>

namespace
{

/// The file in which a function's code lies.
std::string library_of(void* function)
{
    Dl_info found{};
    return dladdr(function, &found) == 0 ? "" : found.dli_fname;
}

template <typename Function>
std::string library_of(Function* function)
{
    void* address = nullptr;
    static_assert(sizeof address == sizeof function, "a function is found by its address");
    std::memcpy(&address, &function, sizeof address);
    return library_of(address);
}

} // namespace

// What the tests stand on

TEST(Substitutes, AreWhatThePlayerRunsOn)
{
    const auto is_substitute = [](const std::string& library) {
        return library.find("/substitutes/") != std::string::npos;
    };
    EXPECT_TRUE(is_substitute(library_of(mpg123_new)));
    EXPECT_TRUE(is_substitute(library_of(out123_new)));
    EXPECT_TRUE(is_substitute(library_of(qz_thread_service_new)));
    EXPECT_NE(library_of(qz_audio_new).find("/substitutes/libqz_audio.so.1"), std::string::npos);
}

// Empty handles

class EmptyHandleTest : public PlatformTest, public testing::WithParamInterface<exported_function>
{
};

TEST_P(EmptyHandleTest, IsWarnedOfInOneLineAndNothingElseIsDone)
{
    GetParam().call(nullptr);
    EXPECT_EQ(take_output(), lines{std::string(warning_banner) +
                                   "null object supplied: " + magenta(GetParam().name)});
    EXPECT_EQ(steps(), lines{});
}

INSTANTIATE_TEST_SUITE_P(ForEachFunction, EmptyHandleTest,
                         testing::ValuesIn(functions_of_a_handle()),
                         [](const auto& row) { return row.param.name; });

TEST_F(PlatformTest, AnEmptyHandleGivesTheNeutralResult)
{
    std::string text = "text";
    EXPECT_FALSE(qz_audio_volume_increment_timeout_start(nullptr, 50));
    EXPECT_FALSE(qz_audio_volume_decrement_timeout_start(nullptr, 50));
    EXPECT_FALSE(qz_audio_set_repeat(nullptr, true));
    EXPECT_EQ(qz_audio_get_playback_status(nullptr), qz_audio_status_none);
    EXPECT_EQ(qz_audio_get_current_track(nullptr), "");
    EXPECT_FALSE(qz_audio_get_last_error_string(nullptr, text));
    EXPECT_EQ(text, "text");
    EXPECT_FALSE(qz_audio_on_status_change(nullptr, nullptr));
    EXPECT_FALSE(qz_audio_on_error(nullptr, nullptr));
    EXPECT_FALSE(qz_audio_on_volume_change(nullptr, nullptr));
    EXPECT_FALSE(qz_audio_set_audio_volume_increment_step(nullptr, 1));
    EXPECT_FALSE(qz_audio_set_audio_volume_decrement_step(nullptr, 1));
    EXPECT_FALSE(qz_audio_set_audio_volume_increment_timeout(nullptr, 1));
    EXPECT_FALSE(qz_audio_set_audio_volume_decrement_timeout(nullptr, 1));
    EXPECT_EQ(take_output().size(), 13U);
}

TEST_F(PlatformTest, AHandleIsEmptyByItsPointerAlone)
{
    const auto owner = boost::make_shared<int>();
    qz_audio_play(qz_audio_ptr(owner, nullptr));
    EXPECT_EQ(take_output().size(), 1U);
}

/// A full disk behind standard output, in a program whose streams throw.
TEST_F(PlatformTest, AWarningThatCannotBeWrittenIsDropped)
{
    class full_device : public std::streambuf
    {
    } device;
    std::streambuf* const before = std::cout.rdbuf(&device);
    std::cout.exceptions(std::ios::badbit);
    EXPECT_NO_THROW(qz_audio_play(nullptr));
    std::cout.exceptions(std::ios::goodbit);
    std::cout.rdbuf(before);
    qz_audio_play(nullptr);
    EXPECT_EQ(take_output().size(), 1U) << "and the next one is written";
}

// Live handles

class FunctionTest : public PlayerTest, public testing::WithParamInterface<exported_function>
{
};

/// Which function hands work to the player's thread, and that it does so without a lock.
TEST_P(FunctionTest, PostsOneTaskOrNone)
{
    const std::size_t tasks = GetParam().posts ? 1 : 0;
    platform::watch_locks();
    GetParam().call(player);
    EXPECT_EQ(calls_to("qz_thread_service_exec"), lines(tasks, "qz_thread_service_exec(audio)"));
    EXPECT_EQ(platform::waiting("audio"), tasks);
    EXPECT_EQ(platform::waiting("system"), 0U);
    EXPECT_EQ(library_calls(), lines{});
    for (const auto& each : substitute::calls()) {
        EXPECT_FALSE(each.locked && each.function == "qz_thread_service_exec");
    }
    EXPECT_FALSE(platform::is_locked(*player));
}

TEST_P(FunctionTest, WithoutMemoryDoesNothingAndWorksLater)
{
    bool done = false;
    for (unsigned number = 1; !done; ++number) {
        try {
            const failing_allocation failing(number);
            GetParam().call(player);
            done = true;
        } catch (const std::bad_alloc&) {
            // The property that shows the repetition is written after the task has been posted.
            if (GetParam().name != "qz_audio_set_repeat") {
                EXPECT_EQ(platform::waiting("audio"), 0U);
            }
            platform::run_all();
            EXPECT_FALSE(platform::is_locked(*player));
            EXPECT_FALSE(property<bool>("object-destroyed"));
        }
    }
    EXPECT_EQ(platform::waiting("audio"), GetParam().posts ? 1U : 0U);
}

/// Only a handle that nothing owns can do this; the player is in its destructor then.
TEST_P(FunctionTest, OfAPlayerThatNothingOwnsThrowsInsteadOfPosting)
{
    qz_audio_destroy(player, "main", 1);
    platform::run_all();
    bool asked = false;
    at_call("property_lock", [&, object = player.get()] {
        asked = true;
        object->property_list["object-destroyed"] = false;
        const qz_audio_ptr unowned(boost::shared_ptr<void>(), object);
        if (GetParam().posts) {
            EXPECT_THROW(GetParam().call(unowned), boost::bad_weak_ptr);
        } else {
            EXPECT_NO_THROW(GetParam().call(unowned));
        }
    });
    forget();
    player.reset();
    EXPECT_TRUE(asked);
    EXPECT_EQ(calls_to("qz_thread_service_exec"), lines{});
}

INSTANTIATE_TEST_SUITE_P(ForEach, FunctionTest, testing::ValuesIn(functions_of_a_handle()),
                         [](const auto& row) { return row.param.name; });

using InterfaceTest = PlayerTest;

TEST_F(InterfaceTest, ATaskHoldsThePlayerUntilItHasRun)
{
    qz_audio_set_volume(player, 30);
    EXPECT_EQ(player.use_count(), 3) << "the test's, the registry's and the task's";
    platform::run_all();
    EXPECT_EQ(player.use_count(), 2);
}

TEST_F(InterfaceTest, PlayReturnsBeforeItPlays)
{
    qz_audio_set_audio_track(player, "song");
    qz_audio_play(player);
    EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_status_none);
    EXPECT_EQ(library_calls(), lines{});
}

TEST_F(InterfaceTest, DroppingEveryHandleDoesNotCancelThePlay)
{
    observe(player);
    auto* const object = player.get();
    qz_audio_set_audio_track(player, "song");
    qz_audio_play(player);
    player.reset();
    qz_object_unref_real(object->shared_object()); // the registry's too
    platform::run_all();
    EXPECT_EQ(substitute::played(), "aaaabbbbcccc");
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "status playing", "status stopped"}));
    EXPECT_EQ(platform::objects(), 0U) << "the last notification let it go";
}

TEST_F(InterfaceTest, RequestsTakeEffectInTheOrderInWhichTheyWerePosted)
{
    observe(player);
    for (int volume = 1; volume <= 5; ++volume) {
        qz_audio_set_volume(player, volume);
    }
    qz_audio_open(player);
    qz_audio_set_volume(player, 6);
    platform::run_all();
    EXPECT_EQ(take_events(), (lines{"volume 1", "volume 2", "volume 3", "volume 4", "volume 5",
                                    "status opened", "volume 6"}));
}

TEST_F(InterfaceTest, TheBoolResultsAreTrueOnALiveHandle)
{
    std::string text;
    EXPECT_TRUE(qz_audio_volume_increment_timeout_start(player, 50));
    EXPECT_TRUE(qz_audio_volume_decrement_timeout_start(player, 50));
    EXPECT_TRUE(qz_audio_set_repeat(player, true));
    EXPECT_TRUE(qz_audio_get_last_error_string(player, text));
    EXPECT_TRUE(qz_audio_on_status_change(player, nullptr));
    EXPECT_TRUE(qz_audio_on_error(player, nullptr));
    EXPECT_TRUE(qz_audio_on_volume_change(player, nullptr));
    EXPECT_TRUE(qz_audio_set_audio_volume_increment_step(player, 1));
    EXPECT_TRUE(qz_audio_set_audio_volume_decrement_step(player, 1));
    EXPECT_TRUE(qz_audio_set_audio_volume_increment_timeout(player, 1));
    EXPECT_TRUE(qz_audio_set_audio_volume_decrement_timeout(player, 1));
}

// The targets of fades

struct fade_case {
    const char* name;
    bool up;
    int target;
    bool accepted;
    int reached; ///< From 50, or from 100 where it is lowered.

    friend void PrintTo(const fade_case& shown, std::ostream* out) { *out << shown.name; }
};

class FadeTargetTest : public PlayerTest, public testing::WithParamInterface<fade_case>
{
};

TEST_P(FadeTargetTest, IsCheckedOnTheCallersThread)
{
    const auto& fade = GetParam();
    record().volume = 50;
    const auto start =
        fade.up ? qz_audio_volume_increment_timeout_start : qz_audio_volume_decrement_timeout_start;
    EXPECT_EQ(start(player, fade.target), fade.accepted);
    EXPECT_EQ(platform::waiting("audio"), fade.accepted ? 1U : 0U);
    platform::run_all();
    for (int tick = 0; tick < 20; ++tick) {
        platform::advance(std::chrono::milliseconds(500));
        platform::run_all();
    }
    EXPECT_EQ(record().volume, fade.reached);
}

constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

INSTANTIATE_TEST_SUITE_P(
    Values, FadeTargetTest,
    testing::Values(
        fade_case{"UpTo0", true, 0, false, 50}, fade_case{"UpToMinus5", true, -5, false, 50},
        fade_case{"UpToMinus3", true, -3, false, 50},
        fade_case{"UpToTheLowest", true, lowest, false, 50}, fade_case{"UpTo1", true, 1, true, 50},
        fade_case{"UpTo100", true, 100, true, 100}, fade_case{"UpTo101", true, 101, true, 100},
        fade_case{"UpTo150", true, 150, true, 100}, fade_case{"UpTo250", true, 250, true, 100},
        fade_case{"UpToTheHighest", true, highest, true, 100},
        fade_case{"DownTo0", false, 0, true, 0}, fade_case{"DownToMinus3", false, -3, true, 0},
        fade_case{"DownToMinus5", false, -5, true, 0},
        fade_case{"DownToTheLowest", false, lowest, true, 0},
        fade_case{"DownTo49", false, 49, true, 49}, fade_case{"DownTo250", false, 250, true, 50},
        fade_case{"DownToTheHighest", false, highest, true, 50}),
    [](const auto& row) { return row.param.name; });

TEST_F(InterfaceTest, AFadeDownTo250IsOneTo100)
{
    record().volume = 300;
    qz_audio_volume_decrement_timeout_start(player, 250);
    platform::run_all();
    for (int tick = 0; tick < 30; ++tick) {
        platform::advance(std::chrono::milliseconds(500));
        platform::run_all();
    }
    EXPECT_EQ(record().volume, 100);
}

// The callback of a stop

class StopCallbackTest : public PlayerTest, public testing::WithParamInterface<qz_audio_status>
{
};

TEST_P(StopCallbackTest, IsCalledOnceAfterTheStopOnTheSystemService)
{
    unsigned called = 0;
    act_in(GetParam(), [&] {
        qz_audio_stop(player, [&](qz_audio_ptr by) {
            EXPECT_EQ(by, player);
            EXPECT_EQ(platform::current_thread(), "system");
            EXPECT_FALSE(platform::is_locked(*by));
            EXPECT_NE(qz_audio_get_playback_status(by), qz_audio_status_playing);
            EXPECT_NE(qz_audio_get_playback_status(by), qz_audio_status_paused);
            ++called;
        });
        EXPECT_EQ(called, 0U);
    });
    EXPECT_EQ(called, 1U);
}

TEST_P(StopCallbackTest, MayBeEmpty)
{
    act_in(GetParam(), [&] {
        platform::run_all("system");
        qz_audio_stop(player, nullptr);
    });
    EXPECT_EQ(calls_to("qz_system_service_exec"), lines{});
    EXPECT_NE(status(), qz_audio_status_playing);
}

INSTANTIATE_TEST_SUITE_P(InEachStatus, StopCallbackTest, testing::ValuesIn(all_statuses()),
                         [](const auto& row) { return status_name(row.param); });

TEST_F(InterfaceTest, AStopCallbackThatIsDroppedIsNotCopiedElsewhere)
{
    const auto captured = std::make_shared<int>();
    qz_audio_stop(player, [captured](qz_audio_ptr) {});
    EXPECT_GT(captured.use_count(), 1);
    platform::run_all();
    EXPECT_EQ(captured.use_count(), 1);
}
