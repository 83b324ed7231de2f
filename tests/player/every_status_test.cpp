#include "player_test.h"

#include <tuple>

/// Each function in each status: its work is done on the player's thread or the caller's, no handle is
/// misused, nothing is thrown, and the player can still be destroyed.
class EveryStatusTest
    : public PlayerTest,
      public testing::WithParamInterface<std::tuple<exported_function, qz_audio_status>>
{
};

TEST_P(EveryStatusTest, MayBeCalled)
{
    const auto& function = std::get<0>(GetParam());
    const auto from = std::get<1>(GetParam());
    act_in(from, [&] {
        forget();
        function.call(player);
        EXPECT_EQ(library_calls(), lines{}) << "on the caller's thread";
        EXPECT_FALSE(platform::is_locked(*player));
    });
    EXPECT_FALSE(platform::is_locked(*player));
    EXPECT_EQ(status(), qz_audio_get_playback_status(player));
    const bool destroys = function.name == "qz_audio_destroy" || function.name == "qz_audio_new";
    for (const auto& each : calls_since()) {
        const bool in_library =
            each.function.rfind("mpg123_", 0) == 0 || each.function.rfind("out123_", 0) == 0;
        EXPECT_TRUE(!in_library || each.thread == "audio" || destroys)
            << each.thread << ": " << each.text();
    }
    if (function.name == "qz_audio_open" && from != qz_audio_status_none) {
        EXPECT_EQ(take_failed_checks().size(), 3U);
        expect_lost_handles(1, 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Of, EveryStatusTest,
                         testing::Combine(testing::ValuesIn(all_functions()),
                                          testing::ValuesIn(all_statuses())),
                         [](const auto& row) {
                             return std::get<0>(row.param).name + "_" +
                                    status_name(std::get<1>(row.param));
                         });

/// How far a destruction has come when the function is called.
struct destruction_stage {
    const char* name;
    lines ran; ///< The threads that have worked off what waited for them since the request.

    friend void PrintTo(const destruction_stage& shown, std::ostream* out) { *out << shown.name; }
};

const std::vector<destruction_stage> destruction_stages{
    {"Asked", {}},
    {"Stopped", {"audio"}},
    {"TakenDown", {"audio", "system"}},
    {"Ended", {"audio", "system", "audio"}},
    {"Released", {"audio", "system", "audio", "system"}},
};

class AfterDestroyTest : public PlayerTest,
                         public testing::WithParamInterface<
                             std::tuple<exported_function, qz_audio_status, destruction_stage>>
{
};

TEST_P(AfterDestroyTest, MayBeCalledAndChangesNothingOfTheEngine)
{
    const auto& function = std::get<0>(GetParam());
    observe(player);
    bring_to(std::get<1>(GetParam()));
    qz_audio_destroy(player, "main", 1);
    for (const auto& thread : std::get<2>(GetParam()).ran) {
        ASSERT_TRUE(platform::run_all(thread));
    }
    take_events();
    forget();
    function.call(player);
    EXPECT_EQ(library_calls(), lines{});
    platform::run_all();

    EXPECT_EQ(calls_to("mpg123_new"), lines{});
    EXPECT_EQ(calls_to("mpg123_read"), lines{});
    EXPECT_EQ(status(), qz_audio_status_none);
    EXPECT_EQ(record().mh, nullptr);
    EXPECT_EQ(record().ao, nullptr);
    EXPECT_EQ(record().volume, 100);
    EXPECT_FALSE(player->is_reffed());
    if (function.name == "qz_audio_destroy") {
        EXPECT_EQ(take_output().size(), 1U) << "the warning";
    }
}

INSTANTIATE_TEST_SUITE_P(Of, AfterDestroyTest,
                         testing::Combine(testing::ValuesIn(all_functions()),
                                          testing::Values(qz_audio_status_none,
                                                          qz_audio_status_loaded,
                                                          qz_audio_status_paused),
                                          testing::ValuesIn(destruction_stages)),
                         [](const auto& row) {
                             return std::get<0>(row.param).name + "_" +
                                    status_name(std::get<1>(row.param)) + "_" +
                                    std::get<2>(row.param).name;
                         });
