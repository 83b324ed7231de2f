#include "call_log.h"
#include "captured_output.h"
#include "event.h"
#include "failing_allocation.h"
#include "mpg123_substitute.h"
#include "out123_substitute.h"
#include "process.h"
#include "qz_audio/qz_audio.h"

#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// A player's life on real threads, with each allocation failing in turn that the libraries make for it on
// any thread. The test's own code stands inside a substitute's, whose allocations are spared.

namespace
{

using substitute::inside;
using substitute::outside;

/// Calls a function of the library, and again if it is refused for lack of memory, which is once at most.
void insist_on(const std::function<void()>& call)
{
    try {
        const outside the_test;
        call();
    } catch (const std::bad_alloc&) {
        call();
    }
}

/// Throws away what is written to standard output: errors that tasks leave.
class no_output
{
public:
    no_output() : before_(std::cout.rdbuf(nullptr)) {}
    ~no_output() { std::cout.rdbuf(before_); }
    no_output(const no_output&) = delete;
    no_output& operator=(const no_output&) = delete;

private:
    std::streambuf* const before_;
};

class ThreadsAllocationTest : public testing::Test
{
protected:
    void SetUp() override
    {
        substitute::put_track("song", {{{MPG123_OK, "aaaa"}, {MPG123_OK, "bbbb"}}});
    }

    void TearDown() override { EXPECT_EQ(substitute::violations(), std::vector<std::string>{}); }

    /// A player opens, loads, plays, pauses, plays, stops, fades and is destroyed. Returns when it is gone.
    void live()
    {
        qz_audio_ptr player;
        insist_on([&player] { player = qz_audio_new(); });
        const boost::weak_ptr<_qz_audio> alive = player;
        play_and_stop(player);
        fade(player);
        insist_on([&player] { qz_audio_destroy(player, __FILE__, __LINE__); });
        player.reset();
        EXPECT_TRUE(wait_until([&alive] { return alive.expired(); }));
        EXPECT_TRUE(wait_until([] { return threads_named("audio") == 0; }));
        EXPECT_EQ(substitute::decoders_alive(), 0U);
        EXPECT_EQ(substitute::outputs_alive(), 0U);
    }

private:
    static void play_and_stop(const qz_audio_ptr& player)
    {
        std::atomic<unsigned> answers{0};
        insist_on([&] { qz_audio_on_status_change(player, [](qz_audio_ptr, qz_audio_status) {}); });
        insist_on([&] { qz_audio_on_error(player, [](qz_audio_ptr, int) {}); });
        insist_on([&] { qz_audio_on_volume_change(player, [](qz_audio_ptr, int) {}); });
        insist_on([&] { qz_audio_open(player); });
        insist_on([&] { qz_audio_set_audio_track(player, "song"); });
        insist_on([&] { qz_audio_play(player); });
        insist_on([&] { qz_audio_set_volume(player, 70); });
        insist_on([&] { qz_audio_pause(player); });
        insist_on([&] { qz_audio_play(player); });
        insist_on([&] { qz_audio_stop(player, [&answers](qz_audio_ptr) { ++answers; }); });
        EXPECT_TRUE(wait_until([&answers] { return answers > 0; }));
        EXPECT_TRUE(wait_for_system_service());
        EXPECT_EQ(answers, 1U);
    }

    static void fade(const qz_audio_ptr& player)
    {
        insist_on([&] { qz_audio_set_audio_volume_decrement_timeout(player, 1); });
        insist_on([&] { qz_audio_volume_decrement_timeout_start(player, 20); });
        const auto later = std::make_shared<event>();
        const auto tick = [later] {
            later->set();
            return false;
        };
        qz_thread_service_set_interval(player->thread_service, tick, 5, __FILE__, __LINE__);
        EXPECT_TRUE(later->wait());
    }

    static bool wait_for_system_service()
    {
        const auto reached = std::make_shared<event>();
        qz_system_service_exec([reached] { reached->set(); }, __FILE__, __LINE__);
        return reached->wait();
    }

    const inside the_test_;
};

} // namespace

TEST_F(ThreadsAllocationTest, FailsAndTheNextPlayerPlays)
{
    const no_output no_errors;
    unsigned number = 0;
    for (bool failed = true; failed;) {
        SCOPED_TRACE(++number);
        {
            const failing_allocation_anywhere failing(number);
            live();
            failed = failing_allocation_anywhere::has_failed();
        }
        substitute::reset_outputs();
        live();
        EXPECT_EQ(substitute::played().substr(0, 4), "aaaa");
        substitute::reset_calls();
        substitute::reset_outputs();
    }
    RecordProperty("failures", std::to_string(number - 1));
    EXPECT_GT(number, 100U);
}

TEST_F(ThreadsAllocationTest, ThatKeepsFailingForAReportIsGivenUpAfterASecond)
{
    captured_output output;
    constexpr std::size_t size = 4321;
    const qz_audio_ptr player = qz_audio_new();
    const std::array<char, size> captured{};
    qz_audio_on_status_change(player, [captured](const qz_audio_ptr&, qz_audio_status) {
        ADD_FAILURE() << captured.size();
    });
    const auto begin = std::chrono::steady_clock::now();
    {
        const failing_size failing(size);
        qz_audio_open(player);
        EXPECT_TRUE(output.wait_for_lines(1));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_THAT(
        output.steps(),
        testing::ElementsAre("\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: std::bad_alloc\n", "flush"));

    qz_audio_on_status_change(player, nullptr);
    qz_audio_destroy(player, __FILE__, __LINE__);
    EXPECT_TRUE(wait_until([&player] { return player.use_count() == 1; }));
    live();
    EXPECT_EQ(substitute::played().substr(0, 4), "aaaa");
}

TEST_F(ThreadsAllocationTest, ThatFailsForADueTickLeavesTheIntervalRunning)
{
    constexpr std::size_t block_of_queue =
        512; // what the standard library's deque allocates at a time
    const auto service = qz_thread_service_new("test");
    const auto ticks = std::make_shared<std::atomic<unsigned>>(0);
    qz_thread_service_set_interval(
        service, [ticks] { return ++*ticks > 0; }, 1, __FILE__, __LINE__);
    const auto ticks_on = [&ticks] {
        return wait_until([&ticks, before = ticks->load()] { return *ticks > before; });
    };
    {
        const failing_size failing(block_of_queue);
        std::this_thread::sleep_for(
            std::chrono::milliseconds(200)); // for the queue's block to fill
    }
    EXPECT_TRUE(ticks_on());
    qz_object_unref_real(qz_thread_service_to_object(service));
    qz_thread_service_stop(service, nullptr);
}
