#include "players_test.h"

#include <algorithm>

void destroy(const qz_audio_ptr& player)
{
    qz_audio_destroy(player, __FILE__, __LINE__);
}

bool wait_for_callbacks()
{
    const auto reached = std::make_shared<event>();
    qz_system_service_exec([reached] { reached->set(); }, __FILE__, __LINE__);
    return reached->wait();
}

struct status_log::told {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<qz_audio_status> statuses; ///< Not waited for yet.
};

status_log::status_log(const qz_audio_ptr& player) : told_(std::make_shared<told>())
{
    qz_audio_on_status_change(player, [told = told_](const qz_audio_ptr&, qz_audio_status status) {
        const std::lock_guard<std::mutex> lock(told->mutex);
        told->statuses.push_back(status);
        told->changed.notify_all();
    });
}

bool status_log::wait_for(qz_audio_status status)
{
    auto& statuses = told_->statuses;
    auto found = statuses.end();
    std::unique_lock<std::mutex> lock(told_->mutex);
    const bool came = told_->changed.wait_for(lock, patience, [&] {
        found = std::find(statuses.begin(), statuses.end(), status);
        return found != statuses.end();
    });
    if (came) {
        statuses.erase(statuses.begin(), found + 1);
    }
    return came;
}

namespace
{

/// How many threads there are while there is no player. The first player leaves behind what stays: the
/// system service and the libraries' own state.
std::size_t threads_at_rest()
{
    static const std::size_t count = [] {
        EXPECT_TRUE(wait_for_callbacks());
        const auto threads = thread_count();
        qz_audio_ptr player = qz_audio_new();
        const boost::weak_ptr<_qz_audio> watch = player;
        qz_audio_set_audio_track(player, silent_track());
        destroy(player);
        player.reset();
        EXPECT_TRUE(wait_until([&] { return watch.expired() && thread_count() == threads; }));
        return threads;
    }();
    return count;
}

std::size_t descriptors_at_rest()
{
    threads_at_rest();
    return descriptor_count();
}

} // namespace

PlayersTest::PlayersTest() : descriptors_(descriptors_at_rest()) {}

void PlayersTest::TearDown()
{
    EXPECT_TRUE(wait_until([this] { return players_alive() == 0; }));
    EXPECT_TRUE(wait_until([] { return thread_count() == threads_at_rest(); }));
    EXPECT_TRUE(loses_outputs_ || descriptor_count() == descriptors_);
    EXPECT_TRUE(wait_for_callbacks());
}

qz_audio_ptr PlayersTest::make_player()
{
    qz_audio_ptr player = qz_audio_new();
    const std::lock_guard<std::mutex> lock(mutex_);
    players_.push_back({player, player->thread_service});
    return player;
}

std::size_t PlayersTest::players_alive()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto gone = [](const watched& each) {
        return each.player.expired() && each.service.expired();
    };
    players_.erase(std::remove_if(players_.begin(), players_.end(), gone), players_.end());
    return players_.size();
}

void play_for_ever(const qz_audio_ptr& player)
{
    qz_audio_set_repeat(player, true);
    qz_audio_set_audio_track(player, silent_track());
    qz_audio_play(player);
}

void bring_to(const qz_audio_ptr& player, qz_audio_status status)
{
    status_log log(player);
    const auto play = [&] {
        play_for_ever(player);
        EXPECT_TRUE(log.wait_for(qz_audio_status_playing));
    };
    switch (status) {
    case qz_audio_status_none:
        break;
    case qz_audio_status_opened:
        qz_audio_open(player);
        break;
    case qz_audio_status_loaded:
        qz_audio_set_audio_track(player, silent_track());
        break;
    case qz_audio_status_playing:
        play_for_ever(player);
        break;
    case qz_audio_status_paused:
        play();
        // A pause that comes just when the track starts over is refused.
        EXPECT_TRUE(wait_until([&] {
            qz_audio_pause(player);
            return qz_audio_get_playback_status(player) == qz_audio_status_paused;
        }));
        break;
    case qz_audio_status_stopped:
        play();
        qz_audio_stop(player, nullptr);
        break;
    }
    EXPECT_TRUE(status == qz_audio_status_none || log.wait_for(status));
    qz_audio_on_status_change(player, nullptr);
}
