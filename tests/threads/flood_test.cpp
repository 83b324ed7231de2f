#include "live_allocations.h"
#include "on_threads.h"
#include "players_test.h"
#include "qz_audio/qz_audio_record.h"

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

namespace
{

constexpr unsigned threads = 8;
constexpr int volumes_per_thread = 6250;
constexpr long requests = 2L * threads * volumes_per_thread; // each volume with a repeat

/// Volumes that tell who set them, and as which of theirs.
int volume_of(unsigned thread, int number)
{
    return number * static_cast<int>(threads) + static_cast<int>(thread);
}

/// The numbers that have been told of each thread's volumes, in order. Takes the volume callback.
class volume_log
{
public:
    explicit volume_log(const qz_audio_ptr& player) : told_(std::make_shared<told>())
    {
        for (auto& numbers : told_->numbers) {
            numbers.reserve(volumes_per_thread);
        }
        qz_audio_on_volume_change(player, [told = told_](const qz_audio_ptr&, int volume) {
            const auto thread = static_cast<unsigned>(volume) % threads;
            told->numbers.at(thread).push_back(volume / static_cast<int>(threads));
            ++told->count;
        });
    }

    [[nodiscard]] long count() const { return told_->count; }

    /// To be asked for when no callback is left to come.
    [[nodiscard]] const std::vector<int>& of(unsigned thread) const
    {
        return told_->numbers.at(thread);
    }

private:
    struct told {
        std::array<std::vector<int>, threads> numbers;
        std::atomic<long> count{0};
    };
    std::shared_ptr<told> told_;
};

/// Keeps a playing player's thread busy between two blocks while it lives.
class busy_player
{
public:
    explicit busy_player(const qz_audio_ptr& player) : over_(std::make_shared<event>())
    {
        EXPECT_TRUE(wait_until([&] { return hold(player); }));
    }
    ~busy_player() { over_->set(); }
    busy_player(const busy_player&) = delete;
    busy_player& operator=(const busy_player&) = delete;

private:
    /// Returns false at the track's end, where requests are dropped.
    bool hold(const qz_audio_ptr& player)
    {
        const auto holds = std::make_shared<std::promise<bool>>();
        const auto task = [holds, record = get_record(*player), over = over_] {
            const bool amid_track = record->in_play && record->error == 0;
            holds->set_value(amid_track);
            EXPECT_TRUE(!amid_track || over->wait());
        };
        qz_thread_service_exec(player->thread_service, task, __FILE__, __LINE__);
        return holds->get_future().get();
    }

    static _audio_data* get_record(_qz_audio& player)
    {
        const std::lock_guard<std::mutex> lock(player.property_mutex);
        return boost::any_cast<_audio_data*>(player.property_list.at("audio_data"));
    }

    std::shared_ptr<event> over_;
};

void flood(const qz_audio_ptr& player)
{
    on_threads(threads, [&player](unsigned thread) {
        for (int number = 0; number < volumes_per_thread; ++number) {
            qz_audio_set_volume(player, volume_of(thread, number));
            qz_audio_set_repeat(player, true);
        }
    });
}

class FloodTest : public PlayersTest
{
protected:
    static void check_order(const volume_log& volumes)
    {
        std::vector<int> all(volumes_per_thread);
        std::iota(all.begin(), all.end(), 0);
        for (unsigned thread = 0; thread < threads; ++thread) {
            EXPECT_EQ(volumes.of(thread), all) << thread;
        }
    }
};

} // namespace

TEST_F(FloodTest, IsServedInOrderInBoundedMemoryAndDecodingGoesOn)
{
    constexpr long per_request = 2; // the queue's entry and the closure
    constexpr long others = 100;
    const qz_audio_ptr player = make_player();
    bring_to(player, qz_audio_status_playing);
    const volume_log volumes(player);
    status_log log(player);
    long before = 0;
    {
        const busy_player busy(player);
        before = live_allocations();
        flood(player);
        RecordProperty("in_flight", std::to_string(live_allocations() - before));
        EXPECT_LE(live_allocations() - before, per_request * requests + others);
    }
    EXPECT_TRUE(wait_until([&] { return volumes.count() == requests / 2; }));
    qz_audio_set_repeat(player, false);
    EXPECT_TRUE(log.wait_for(qz_audio_status_stopped)) << "the track's end";
    EXPECT_TRUE(wait_for_callbacks());
    EXPECT_LE(live_allocations() - before, others);
    check_order(volumes);
    destroy(player);
}

TEST_F(FloodTest, IsNotWaitedForByDestroy)
{
    qz_audio_ptr player = make_player();
    bring_to(player, qz_audio_status_playing);
    const volume_log volumes(player);
    {
        const busy_player busy(player);
        flood(player);
        destroy(std::exchange(player, nullptr));
        EXPECT_TRUE(wait_for_callbacks());
        EXPECT_EQ(volumes.count(), 0);
    }
    EXPECT_TRUE(wait_until([this] { return players_alive() == 0; }));
    EXPECT_TRUE(wait_for_callbacks());
    check_order(volumes);
}
