#include "support_calls.h"

#include <gtest/gtest.h>

namespace
{

void ask(const qz_audio_ptr& player)
{
    EXPECT_EQ(qz_audio_get_playback_status(player), qz_audio_get_playback_status(player));
    EXPECT_EQ(qz_audio_get_current_track(player), qz_audio_get_current_track(player));
    std::string text = "text";
    EXPECT_TRUE(qz_audio_get_last_error_string(player, text));
    const std::string path = qz_audio_get_bin_path();
    qz_audio_set_bin_path(path);
    EXPECT_EQ(qz_audio_get_bin_path(), path);
}

void set(const qz_audio_ptr& player)
{
    EXPECT_TRUE(qz_audio_set_audio_volume_increment_step(player, 20));
    EXPECT_TRUE(qz_audio_set_audio_volume_decrement_step(player, 20));
    EXPECT_TRUE(qz_audio_set_audio_volume_increment_timeout(player, 1));
    EXPECT_TRUE(qz_audio_set_audio_volume_decrement_timeout(player, 1));
    EXPECT_TRUE(qz_audio_on_status_change(player, nullptr));
    EXPECT_TRUE(qz_audio_on_error(player, nullptr));
    EXPECT_TRUE(qz_audio_on_volume_change(player, nullptr));
}

void request(const qz_audio_ptr& player, const std::string& track)
{
    qz_audio_set_volume(player, 50);
    EXPECT_TRUE(qz_audio_volume_increment_timeout_start(player, 100));
    EXPECT_TRUE(qz_audio_volume_decrement_timeout_start(player, 10));
    EXPECT_TRUE(qz_audio_set_repeat(player, true));
    qz_audio_pause(player);
    qz_audio_play(player);
    qz_audio_stop(player, [](const qz_audio_ptr&) {});
    qz_audio_set_audio_track(player, track);
    qz_audio_play(player);
}

} // namespace

void call_all_but_open_and_destroy(const qz_audio_ptr& player, const std::string& track)
{
    const qz_audio_ptr another = qz_audio_new();
    qz_audio_destroy(another, __FILE__, __LINE__);
    ask(player);
    set(player);
    request(player, track);
}
