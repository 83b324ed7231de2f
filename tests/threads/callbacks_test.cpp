#include "captured_output.h"
#include "every_function.h"
#include "players_test.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace
{

using action = std::function<void(const qz_audio_ptr&)>;

/// One of the four callbacks: `arrange` sees to it that `act` is called by it, again and again as the
/// case may be.
struct callback {
    std::string name;
    void (*arrange)(const qz_audio_ptr& player, const action& act);

    friend void PrintTo(const callback& shown, std::ostream* out) { *out << shown.name; }
};

const std::vector<callback>& callbacks()
{
    static const std::vector<callback> all{
        {"Status",
         [](const qz_audio_ptr& player, const action& act) {
             qz_audio_on_status_change(
                 player, [act](const qz_audio_ptr& told, qz_audio_status) { act(told); });
             play_for_ever(player);
         }},
        {"Error",
         [](const qz_audio_ptr& player, const action& act) {
             qz_audio_on_error(player, [act](const qz_audio_ptr& told, int) { act(told); });
             qz_audio_set_audio_track(player, broken_track());
         }},
        {"Volume",
         [](const qz_audio_ptr& player, const action& act) {
             qz_audio_on_volume_change(player, [act](const qz_audio_ptr& told, int) { act(told); });
             qz_audio_set_volume(player, 70);
         }},
        {"Stop", [](const qz_audio_ptr& player, const action& act) { qz_audio_stop(player, act); }},
    };
    return all;
}

/// Registers callbacks that do nothing, each of which captures something of its own that `make` makes.
void register_all(const qz_audio_ptr& player, const std::function<std::shared_ptr<void>()>& make)
{
    qz_audio_on_status_change(player, [capture = make()](const qz_audio_ptr&, qz_audio_status) {});
    qz_audio_on_error(player, [capture = make()](const qz_audio_ptr&, int) {});
    qz_audio_on_volume_change(player, [capture = make()](const qz_audio_ptr&, int) {});
}

std::shared_ptr<void> nothing()
{
    return nullptr;
}

void clear_all(const qz_audio_ptr& player)
{
    qz_audio_on_status_change(player, nullptr);
    qz_audio_on_error(player, nullptr);
    qz_audio_on_volume_change(player, nullptr);
}

class CallbacksTest : public PlayersTest
{
};

class EachCallbackTest : public PlayersTest, public testing::WithParamInterface<callback>
{
protected:
    /// Lets the callback of `player` call `act` when it is called first, and waits until it has done so.
    static void act_inside(const qz_audio_ptr& player, const action& act)
    {
        const auto done = std::make_shared<event>();
        const auto called = std::make_shared<std::atomic<bool>>(false);
        GetParam().arrange(player, [act, done, called](const qz_audio_ptr& told) {
            if (!called->exchange(true)) {
                act(told);
                done->set();
            }
        });
        EXPECT_TRUE(done->wait());
    }
};

} // namespace

// Opening a player that is open would leave its former output behind.

TEST_P(EachCallbackTest, MayCallEveryFunctionOnItsOwnPlayer)
{
    captured_output output;
    for (const auto& function : all_functions()) {
        if (function.name == "qz_audio_open" && GetParam().name == "Status") {
            continue;
        }
        const qz_audio_ptr player = make_player();
        act_inside(player, [&function](const qz_audio_ptr& told) { function.call(told, 5); });
        destroy(player);
        ASSERT_TRUE(wait_until([&player] { return player.use_count() == 1; })) << function.name;
    }
}

TEST_P(EachCallbackTest, MayCallEveryFunctionOnAnotherPlayer)
{
    captured_output output;
    for (const auto& function : all_functions()) {
        const qz_audio_ptr player = make_player();
        const qz_audio_ptr other = make_player();
        if (function.name != "qz_audio_open") {
            play_for_ever(other);
        }
        act_inside(player, [&](const qz_audio_ptr&) { function.call(other, 5); });
        destroy(player);
        destroy(other);
        ASSERT_TRUE(wait_until([&] { return player.use_count() + other.use_count() == 2; }))
            << function.name;
    }
}

TEST_P(EachCallbackTest, MayDestroyItsPlayer)
{
    captured_output output;
    for (int round = 0; round < 20; ++round) {
        act_inside(make_player(), [](const qz_audio_ptr& told) { destroy(told); });
    }
    ASSERT_TRUE(wait_until([this] { return players_alive() == 0; }));
    ASSERT_TRUE(wait_for_callbacks());
}

TEST_P(EachCallbackTest, MayDropTheLastHandle)
{
    captured_output output;
    for (int round = 0; round < 20; ++round) {
        const auto only = std::make_shared<qz_audio_ptr>(make_player());
        act_inside(*only, [only](const qz_audio_ptr& told) {
            destroy(told);
            only->reset();
        });
        ASSERT_TRUE(wait_until([this] { return players_alive() == 0; }));
    }
    ASSERT_TRUE(wait_for_callbacks());
}

TEST_P(EachCallbackTest, MayReplaceAllCallbacks)
{
    const qz_audio_ptr player = make_player();
    act_inside(player, [](const qz_audio_ptr& told) {
        clear_all(told);
        register_all(told, nothing);
    });
    destroy(player);
}

TEST_P(EachCallbackTest, MayThrow)
{
    captured_output output;
    const qz_audio_ptr player = make_player();
    GetParam().arrange(player,
                       [](const qz_audio_ptr&) { throw std::runtime_error("callback failed"); });
    EXPECT_TRUE(output.wait_for_lines(1));
    EXPECT_EQ(output.steps().front(), "\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: callback failed\n");
    clear_all(player);
    destroy(player);
    ASSERT_TRUE(wait_until([&player] { return player.use_count() == 1; }));
    ASSERT_TRUE(wait_for_callbacks());
}

INSTANTIATE_TEST_SUITE_P(Of, EachCallbackTest, testing::ValuesIn(callbacks()),
                         [](const auto& tested) { return tested.param.name; });

TEST_F(CallbacksTest, StoppedOnePlaysTheNextTrackAThousandTimes)
{
    constexpr int tracks = 1000;
    const qz_audio_ptr player = make_player();
    const auto played = std::make_shared<std::atomic<int>>(0);
    const auto done = std::make_shared<event>();
    qz_audio_on_status_change(player, [=](const qz_audio_ptr& told, qz_audio_status status) {
        if (status != qz_audio_status_stopped) {
            return;
        }
        if (++*played == tracks) {
            done->set();
            return;
        }
        qz_audio_set_audio_track(told, *played % 2 == 0 ? silent_track() : other_silent_track());
        qz_audio_play(told);
    });
    qz_audio_set_audio_track(player, silent_track());
    qz_audio_play(player);
    EXPECT_TRUE(done->wait());
    EXPECT_EQ(*played, tracks);
    destroy(player);
}

TEST_F(CallbacksTest, RunOneAtATimeForAllPlayers)
{
    std::atomic<int> running{0};
    const auto alone = [&running](const qz_audio_ptr&, int) {
        EXPECT_EQ(++running, 1);
        std::this_thread::yield();
        --running;
    };
    std::vector<qz_audio_ptr> players;
    for (int number = 0; number < 8; ++number) {
        players.push_back(make_player());
        qz_audio_on_volume_change(players.back(), alone);
    }
    for (int volume = 0; volume < 100; ++volume) {
        for (const auto& player : players) {
            qz_audio_set_volume(player, volume);
        }
    }
    for (const auto& player : players) {
        destroy(player);
    }
    ASSERT_TRUE(wait_until([&] {
        return std::all_of(players.begin(), players.end(),
                           [](const auto& player) { return player.use_count() == 1; });
    }));
}

TEST_F(CallbacksTest, OneThatBlocksHoldsUpTheOthersAndNoPlayersThread)
{
    const auto begun = std::make_shared<event>();
    const auto goes_on = std::make_shared<event>();
    const auto events = std::make_shared<journal>();
    const qz_audio_ptr blocked = make_player();
    qz_audio_on_volume_change(blocked, [=](const qz_audio_ptr&, int) {
        begun->set();
        EXPECT_TRUE(goes_on->wait());
        events->note("end of the wait");
    });
    qz_audio_set_volume(blocked, 50);
    ASSERT_TRUE(begun->wait());

    const qz_audio_ptr other = make_player();
    qz_audio_on_status_change(other, [events](const qz_audio_ptr&, qz_audio_status status) {
        events->note(status_name(status));
    });
    for (const auto& player : {blocked, other}) {
        qz_audio_set_audio_track(player, silent_track());
        qz_audio_play(player);
        EXPECT_TRUE(wait_until(
            [&] { return qz_audio_get_playback_status(player) == qz_audio_status_stopped; }));
    }
    destroy(other);
    EXPECT_THAT(events->entries(), testing::IsEmpty());

    goes_on->set();
    EXPECT_TRUE(events->wait_for(6));
    EXPECT_THAT(events->entries(), testing::ElementsAre("end of the wait", "opened", "loaded",
                                                        "playing", "stopped", "none"));
    destroy(blocked);
}

// What a callback has captured is foreign code, and its end may call back in.

namespace
{

class CapturesTest : public PlayersTest
{
protected:
    /// Makes captures for callbacks of `player`, which call back in at their ends and note these.
    [[nodiscard]] std::function<std::shared_ptr<void>()>
    calling_back(const qz_audio_ptr& player) const
    {
        return [watch = boost::weak_ptr<_qz_audio>(player), ends = ends] {
            return at_end([watch, ends] {
                if (const qz_audio_ptr still = watch.lock()) {
                    clear_all(still);
                    qz_audio_get_playback_status(still);
                    std::string text = "text";
                    qz_audio_get_last_error_string(still, text);
                }
                ends->note("end");
            });
        };
    }

    std::shared_ptr<journal> ends = std::make_shared<journal>();
};

} // namespace

TEST_F(CapturesTest, MayCallBackInWhenReplaced)
{
    const qz_audio_ptr player = make_player();
    register_all(player, calling_back(player));
    register_all(player, nothing);
    EXPECT_TRUE(ends->wait_for(3));
    destroy(player);
}

TEST_F(CapturesTest, MayCallBackInWhenCleared)
{
    const qz_audio_ptr player = make_player();
    register_all(player, calling_back(player));
    clear_all(player);
    EXPECT_TRUE(ends->wait_for(3));
    destroy(player);
}

TEST_F(CapturesTest, MayCallBackInWhenTheirPlayerIsDestroyed)
{
    std::size_t count = 0;
    for (const auto status : all_statuses()) {
        const qz_audio_ptr player = make_player();
        bring_to(player, status);
        register_all(player, calling_back(player));
        destroy(player);
        count += 3;
        EXPECT_TRUE(ends->wait_for(count)) << status_name(status);
    }
}

TEST_F(CapturesTest, MayCallBackInAfterTheCallbackThatReplacedThem)
{
    const qz_audio_ptr player = make_player();
    qz_audio_on_volume_change(player, [capture = calling_back(player)()](const qz_audio_ptr& told,
                                                                         int) { clear_all(told); });
    qz_audio_set_volume(player, 10);
    EXPECT_TRUE(ends->wait_for(1));
    destroy(player);
}

TEST_F(CapturesTest, MayCallBackInWhileNotificationsGoOn)
{
    const qz_audio_ptr player = make_player();
    play_for_ever(player);
    for (std::size_t round = 1; round <= 200; ++round) {
        register_all(player, calling_back(player));
        qz_audio_set_volume(player, static_cast<int>(round));
        register_all(player, nothing);
        ASSERT_TRUE(ends->wait_for(3 * round));
    }
    destroy(player);
}

TEST_F(CapturesTest, MayOwnAnotherPlayer)
{
    const qz_audio_ptr player = make_player();
    {
        const qz_audio_ptr owned = make_player();
        play_for_ever(owned);
        const auto capture = at_end([owned] { destroy(owned); });
        register_all(player, [&capture] { return capture; });
    }
    destroy(player);
}

TEST_F(CapturesTest, MayOwnTheirOwnPlayer)
{
    const qz_audio_ptr player = make_player();
    register_all(player, [&player] { return at_end([player] {}); });
    destroy(player);
}

namespace
{

/// A capture that can be moved, but no longer be copied.
class uncopied
{
public:
    uncopied() = default;
    ~uncopied() = default;
    uncopied(const uncopied&) { throw std::runtime_error("copy failed"); }
    uncopied(uncopied&&) noexcept {}
    uncopied& operator=(const uncopied&) = delete;
};

class EachStatusCapturesTest : public CapturesTest,
                               public testing::WithParamInterface<qz_audio_status>
{
protected:
    static void register_uncopied(const qz_audio_ptr& player)
    {
        qz_audio_on_status_change(
            player,
            [capture = uncopied()](const qz_audio_ptr&, qz_audio_status) { ADD_FAILURE(); });
        qz_audio_on_error(player,
                          [capture = uncopied()](const qz_audio_ptr&, int) { ADD_FAILURE(); });
        qz_audio_on_volume_change(
            player, [capture = uncopied()](const qz_audio_ptr&, int) { ADD_FAILURE(); });
    }

    static void play(const qz_audio_ptr& player, const std::string& track)
    {
        qz_audio_set_audio_track(player, track);
        qz_audio_play(player);
    }

    void end(const qz_audio_ptr& player)
    {
        destroy(player);
        ASSERT_TRUE(wait_until([&player] { return player.use_count() == 1; }));
        ASSERT_TRUE(wait_for_callbacks());
        const std::string error = "\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: copy failed\n";
        EXPECT_THAT(output_.steps(), testing::Contains(error));
        EXPECT_THAT(output_.steps(), testing::Each(testing::AnyOf(error, "flush")));
    }

    captured_output output_;
};

} // namespace

TEST_P(EachStatusCapturesTest, MayThrowWhenCopied)
{
    const qz_audio_ptr player = make_player();
    bring_to(player, GetParam());
    register_uncopied(player);
    qz_audio_set_volume(player, 50);
    play(player, broken_track());
    play(player, silent_track());
    qz_audio_stop(player, [capture = uncopied()](const qz_audio_ptr&) { ADD_FAILURE(); });
    end(player);
}

TEST_P(EachStatusCapturesTest, ThatThrowWhenCopiedMayBeReplaced)
{
    const qz_audio_ptr player = make_player();
    bring_to(player, GetParam());
    register_uncopied(player);
    play(player, silent_track());
    EXPECT_TRUE(output_.wait_for_lines(1));
    clear_all(player);
    status_log log(player);
    qz_audio_set_repeat(player, false);
    play(player, silent_track());
    EXPECT_TRUE(log.wait_for(qz_audio_status_playing));
    EXPECT_TRUE(log.wait_for(qz_audio_status_stopped));
    end(player);
}

INSTANTIATE_TEST_SUITE_P(From, EachStatusCapturesTest, testing::ValuesIn(all_statuses()),
                         [](const auto& tested) { return status_name(tested.param); });
