#include "player_test.h"

#include <tuple>

namespace
{

/// The four kinds of callbacks.
enum class callback { status, error, volume, stop };

std::string name_of(callback kind)
{
    constexpr const char* names[] = {"Status", "Error", "Volume", "Stop"};
    return names[static_cast<std::size_t>(kind)];
}

void PrintTo(callback shown, std::ostream* out)
{
    *out << name_of(shown);
}

/// Registers a callback of this kind that runs `inside` and makes the player call it.
void run_inside(callback kind, const qz_audio_ptr& player,
                const std::function<void(qz_audio_ptr)>& inside)
{
    switch (kind) {
    case callback::status:
        qz_audio_on_status_change(player,
                                  [inside](qz_audio_ptr by, qz_audio_status) { inside(by); });
        qz_audio_open(player);
        break;
    case callback::error:
        qz_audio_on_error(player, [inside](qz_audio_ptr by, int) { inside(by); });
        qz_audio_set_audio_track(player, "nowhere");
        break;
    case callback::volume:
        qz_audio_on_volume_change(player, [inside](qz_audio_ptr by, int) { inside(by); });
        qz_audio_set_volume(player, 90);
        break;
    case callback::stop:
        qz_audio_stop(player, inside);
        break;
    }
}

} // namespace

/// Each function from inside each callback, on its own and on another player.
class ReentryTest
    : public PlayerTest,
      public testing::WithParamInterface<std::tuple<exported_function, callback, bool>>
{
protected:
    /// A player that was not destroyed takes requests as ever.
    static void expect_it_works(const qz_audio_ptr& used)
    {
        if (!used->closed) {
            boost::any_cast<_audio_data*>(used->property_list.at("audio_data"))->error = 0;
            qz_audio_set_volume(used, 33);
            platform::run_all();
            EXPECT_EQ(boost::any_cast<int>(used->property_list.at("audio_volume")), 33);
        }
    }
};

TEST_P(ReentryTest, IsAllowed)
{
    const auto& function = std::get<0>(GetParam());
    const auto kind = std::get<1>(GetParam());
    const bool on_other = std::get<2>(GetParam());
    qz_audio_ptr other = qz_audio_new();
    unsigned called = 0;
    run_inside(kind, player, [&](qz_audio_ptr by) {
        if (++called > 1) {
            return; // a new status or volume calls back again
        }
        EXPECT_EQ(platform::current_thread(), "system");
        EXPECT_EQ(by, player);
        function.call(on_other ? other : by);
    });
    platform::run_all();
    EXPECT_GT(called, 0U);

    const bool was_open = kind == callback::status || kind == callback::error;
    if (function.name == "qz_audio_open" && was_open && !on_other) {
        EXPECT_EQ(take_failed_checks().size(), 3U);
        expect_lost_handles(1, 1);
    }
    const auto& touched = on_other ? other : player;
    EXPECT_EQ(touched->closed, function.name == "qz_audio_destroy");
    expect_it_works(player);
    expect_it_works(other);
    if (!other->closed) {
        qz_audio_destroy(other, "main", 1);
    }
    end_player();
}

INSTANTIATE_TEST_SUITE_P(Of, ReentryTest,
                         testing::Combine(testing::ValuesIn(all_functions()),
                                          testing::Values(callback::status, callback::error,
                                                          callback::volume, callback::stop),
                                          testing::Bool()),
                         [](const auto& row) {
                             return std::get<0>(row.param).name + "_" +
                                    name_of(std::get<1>(row.param)) +
                                    (std::get<2>(row.param) ? "_Other" : "_Own");
                         });

using ReentriesTest = PlayerTest;

TEST_F(ReentriesTest, TheNextTrackIsPlayedFromTheStoppedCallbackAThousandTimes)
{
    constexpr unsigned tracks = 1000;
    unsigned played = 0;
    substitute::put_track("short", {{{MPG123_OK, "."}}});
    qz_audio_on_status_change(player, [&](qz_audio_ptr by, qz_audio_status status) {
        if (status == qz_audio_status_stopped && ++played < tracks) {
            qz_audio_set_audio_track(by, "short");
            qz_audio_play(by);
        }
    });
    qz_audio_set_audio_track(player, "short");
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(played, tracks);
    EXPECT_EQ(substitute::played(), std::string(tracks, '.'));
    EXPECT_EQ(substitute::decoders_alive(), 1U);
    EXPECT_EQ(player.use_count(), 2);
}

TEST_F(ReentriesTest, TheNextPlayIsAskedForFromTheStopsOwnCallbackAThousandTimes)
{
    constexpr unsigned rounds = 1000;
    unsigned round = 0;
    bring_to(qz_audio_status_loaded);
    std::function<void(qz_audio_ptr)> again = [&](qz_audio_ptr by) {
        if (++round < rounds) {
            qz_audio_play(by);
            qz_audio_stop(by, again);
        }
    };
    qz_audio_stop(player, again);
    platform::run_all();
    EXPECT_EQ(round, rounds);
    EXPECT_EQ(calls_to("out123_drop").size(), rounds - 1);
}

TEST_F(ReentriesTest, ACallbackMayReplaceAndClearItself)
{
    lines told;
    qz_audio_on_volume_change(player, [&](qz_audio_ptr by, int) {
        told.push_back("first");
        qz_audio_on_volume_change(by, [&told](qz_audio_ptr now, int) {
            told.push_back("second");
            qz_audio_on_volume_change(now, nullptr);
        });
    });
    for (int volume = 1; volume <= 3; ++volume) {
        qz_audio_set_volume(player, volume);
        platform::run_all();
    }
    EXPECT_EQ(told, (lines{"first", "second"}));
}

TEST_F(ReentriesTest, ACallbackMayDropTheLastHandle)
{
    qz_audio_on_volume_change(player, [this](qz_audio_ptr by, int) {
        qz_object_unref_real(by);
        player.reset();
    });
    qz_audio_set_volume(player, 1);
    platform::run_all();
    EXPECT_EQ(platform::live_count("[qz_audio]"), 0);
}

TEST_F(ReentriesTest, ACallbackMayDestroyItsPlayerWhileItPlays)
{
    lines told;
    qz_audio_on_status_change(player, [&](qz_audio_ptr by, qz_audio_status status) {
        told.push_back(status_name(status));
        if (status == qz_audio_status_playing) {
            qz_audio_destroy(by, "main", 1);
            player.reset();
        }
    });
    platform::run_system_after_each_task();
    substitute::put_track("long", {std::vector<substitute::block>(100, {MPG123_OK, "abcd"})});
    qz_audio_set_audio_track(player, "long");
    qz_audio_play(player);
    // Any task lets the eager system service in.
    when_served([this] { qz_audio_set_repeat(player, true); }, 3);
    platform::run_all();
    EXPECT_EQ(told, (lines{"opened", "loaded", "playing", "stopped", "none"}));
    EXPECT_EQ(substitute::played().size(), 3U * 4U);
    EXPECT_EQ(platform::live_count("[qz_audio]"), 0);
}
