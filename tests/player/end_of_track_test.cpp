// At the end of a track the player waits until the device has played what it buffers. Time is virtual here: it
// passes when the player sleeps and when a device lets it pass.

#include "player_test.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <optional>

using namespace std::chrono_literals;
using substitute::duration;
using substitute::pass_time;
using substitute::time_point;
using substitute::virtual_now;

namespace
{

constexpr duration block = 25ms;
constexpr long bytes_of_block = 800; // 200 frames at 8 kHz
const substitute::block sound{MPG123_OK, std::string(bytes_of_block, 'a')};

/// What happens during a write, of a block or, at the end of the track, of nothing.
using write_action = std::function<void(bool empty)>;

/// A device with a buffer, which makes room for a period at a time and starts to play at a threshold.
struct device {
    duration buffer = 500ms;
    duration period = 125ms;
    duration threshold = 125ms;
    double speed = 1; ///< Of its clock, against the system's.

    duration level{};
    bool plays = false;
    time_point last = virtual_now();

    void catch_up()
    {
        const auto passed = std::chrono::duration_cast<duration>((virtual_now() - last) * speed);
        last = virtual_now();
        if (plays) {
            level = std::max(duration::zero(), level - passed);
        }
    }

    void write()
    {
        catch_up();
        if (level + block > buffer) {
            const duration room = level - (buffer - period);
            pass_time(std::chrono::duration_cast<duration>(room / speed));
            catch_up();
        }
        level += block;
        plays = plays || level >= threshold;
    }

    duration unplayed()
    {
        catch_up();
        return level;
    }
};

class EndOfTrackTest : public PlayerTest
{
protected:
    static void put_blocks(std::vector<substitute::block> blocks)
    {
        substitute::track track;
        track.blocks = std::move(blocks);
        track.rate = 8000;
        substitute::put_track("song", track);
        answer_always("mpg123_outblock", bytes_of_block);
    }

    /// Plays a track of so many blocks into a sink whose writes do `action`. Returns how long the player waited
    /// at the end, before it dropped what the device buffered.
    duration wait_after(std::size_t blocks, const write_action& action)
    {
        put_blocks(std::vector<substitute::block>(blocks, sound));
        qz_audio_set_audio_track(player, "song");
        platform::run_all();

        std::size_t written = 0;
        time_point last_write{};
        time_point dropped{};
        substitute::at_every_call("out123_play", [&] {
            action(written == blocks);
            if (written < blocks) {
                ++written;
                last_write = virtual_now();
            }
        });
        at_call("out123_drop", [&] { dropped = virtual_now(); });
        qz_audio_play(player);
        platform::run_all();
        substitute::forget_plans();
        return dropped - last_write;
    }

    /// The same with a device. `before` is called before each write with its number.
    duration unplayed_by(
        device& sink, std::size_t blocks,
        const std::function<void(std::size_t)>& before = [](std::size_t) {})
    {
        std::size_t number = 0;
        std::optional<duration> unplayed;
        at_call("out123_drop", [&] { unplayed = sink.unplayed(); });
        wait_after(blocks, [&](bool empty) {
            if (!empty) {
                before(number++);
                sink.write();
            }
        });
        return unplayed.value_or(duration::max());
    }
};

const write_action immediately = [](bool) {};

} // namespace

TEST_F(EndOfTrackTest, ADeviceHasPlayedTheTrackWhenItIsDropped)
{
    for (const duration buffer : {100ms, 200ms, 500ms, 1000ms, 2000ms}) {
        for (const duration length : {100ms, 500ms, 1000ms, 2500ms, 5000ms}) {
            if (buffer > 600ms && length <= buffer) {
                continue; // as a file would take it
            }
            device sink;
            sink.buffer = buffer;
            sink.period = buffer / 4;
            sink.threshold = block;
            EXPECT_EQ(unplayed_by(sink, static_cast<std::size_t>(length / block)), 0ms)
                << buffer.count() << ' ' << length.count();
        }
    }
}

TEST_F(EndOfTrackTest, TheWaitIsHardlyLongerThanTheDevicesBuffer)
{
    device sink;
    const duration wait = wait_after(200, [&](bool empty) {
        if (!empty) {
            sink.write();
        }
    });
    EXPECT_GE(wait, sink.buffer);
    EXPECT_LE(wait, sink.buffer + 2 * sink.period + 2 * block);
}

TEST_F(EndOfTrackTest, ADeviceWithAFastClockIsNotWaitedForLonger)
{
    device sink;
    sink.speed = 1.0005;
    const duration wait = wait_after(20min / block, [&](bool empty) {
        if (!empty) {
            sink.write();
        }
    });
    EXPECT_LE(wait, sink.buffer + 2 * sink.period + 2 * block);
}

TEST_F(EndOfTrackTest, AStallMakesTheWaitLongerAndNeverTooShort)
{
    constexpr std::size_t blocks = 200;
    for (const duration stall : {50ms, 300ms, 1000ms, 10'000ms}) {
        for (const unsigned at : {1U, 3U, 4U, 10U, 19U, 20U, 21U, 100U, 190U, 199U}) {
            device sink;
            const duration unplayed = unplayed_by(sink, blocks, [&](std::size_t number) {
                if (number == at) {
                    pass_time(stall);
                }
            });
            EXPECT_EQ(unplayed, 0ms) << "a stall of " << stall.count() << " at " << at;
        }
    }
}

TEST_F(EndOfTrackTest, AShortBlockingAfterAStallDoesNotLookLikeAFile)
{
    constexpr duration period = 10 * block;
    constexpr duration stall = period - 30ms;
    at_call(
        "mpg123_read", [&] { pass_time(stall); }, 81);
    unsigned number = 0;
    const duration wait = wait_after(90, [&](bool empty) { // into a buffer of 40 blocks
        if (!empty && number >= 40 && number % 10 == 0) {
            pass_time(number == 80 ? period - stall : period);
        }
        ++number;
    });
    EXPECT_GE(wait, 40 * block);
}

TEST_F(EndOfTrackTest, ASlowFirstWriteAndAStallBeforeTheDeviceStartsDoNotMakeItTooShort)
{
    device sink;
    at_call(
        "mpg123_read", [] { pass_time(100ms); }, 5);
    const duration unplayed = unplayed_by(sink, 200, [](std::size_t number) {
        if (number == 0) {
            pass_time(10ms); // as if the device were being opened
        }
    });
    EXPECT_EQ(unplayed, 0ms);
}

TEST_F(EndOfTrackTest, ClocksThatDriftApartDoNotMatter)
{
    for (const duration buffer : {500ms, 2000ms}) {
        for (const double speed : {0.9995, 1.0005}) {
            device sink;
            sink.buffer = buffer;
            sink.speed = speed;
            EXPECT_LT(unplayed_by(sink, 20min / block), 1ms) << buffer.count() << ' ' << speed;
        }
    }
}

TEST_F(EndOfTrackTest, ASinkThatKeepsNoTimeIsNotWaitedFor)
{
    for (const unsigned blocks : {25U, 40U, 100U, 400U}) {
        EXPECT_EQ(wait_after(blocks, immediately), 0ms) << blocks;
    }
}

TEST_F(EndOfTrackTest, AFileThatBlocksAtTimesIsNotWaitedFor)
{
    for (const unsigned at : {0U, 1U, 20U, 30U}) {
        std::size_t number = 0;
        EXPECT_EQ(wait_after(40, [&](bool) { pass_time(number++ == at ? 20ms : 0ms); }), 0ms) << at;
    }
    // However near to the end, if the track is long.
    std::size_t number = 0;
    EXPECT_EQ(wait_after(400, [&](bool) { pass_time(number++ == 399 ? 20ms : 0ms); }), 0ms);
}

TEST_F(EndOfTrackTest, AShortTrackIsWaitedForByItsOwnLength)
{
    EXPECT_EQ(wait_after(1, immediately), block);
    EXPECT_EQ(wait_after(24, immediately), 24 * block);
    EXPECT_EQ(wait_after(0, immediately), virtual_now() - time_point{});
    EXPECT_EQ(calls_to("out123_drop").size(), 3U);
}

TEST_F(EndOfTrackTest, ATrackThatComesSlowlyIsWaitedForToo)
{
    EXPECT_EQ(wait_after(100, [&](bool empty) { pass_time(empty ? 0ms : 6ms); }), 0ms);
    device sink;
    EXPECT_EQ(unplayed_by(sink, 100, [](std::size_t) { pass_time(40ms); }), 0ms);
}

TEST_F(EndOfTrackTest, TheWaitIsAtMostTwoAndAHalfSeconds)
{
    device sink;
    sink.buffer = 2450ms;
    const duration wait = wait_after(400, [&](bool empty) {
        if (!empty) {
            sink.write();
        }
    });
    EXPECT_EQ(wait, 2500ms);
}

TEST_F(EndOfTrackTest, TheTimeSinceTheLastWriteCounts)
{
    const duration wait = wait_after(20, [&](bool empty) { pass_time(empty ? 100ms : 0ms); });
    EXPECT_EQ(wait, 20 * block);
}

TEST_F(EndOfTrackTest, AnEndByAnythingElseIsNotWaitedFor)
{
    struct ending {
        const char* name;
        std::vector<substitute::block> end;
        std::function<void()> request;
    };
    const std::vector<ending> endings{
        {"a decode error", {{MPG123_ERR, ""}}, nullptr},
        {"a need for more", {{MPG123_NEED_MORE, ""}}, nullptr},
        {"an empty block", {{MPG123_OK, ""}}, nullptr},
        {"a stop", {}, [this] { qz_audio_stop(player, nullptr); }},
        {"a pause", {}, [this] { qz_audio_pause(player); }},
        {"a new track", {}, [this] { qz_audio_set_audio_track(player, "song"); }},
        {"a destroy", {}, [this] { qz_audio_destroy(player, "", 0); }},
    };
    for (const ending& each : endings) {
        std::vector<substitute::block> blocks{sound};
        blocks.insert(blocks.end(), each.end.begin(), each.end.end());
        put_blocks(blocks);
        qz_audio_set_audio_track(player, "song");
        platform::run_all();
        const time_point start = virtual_now();
        if (each.request) {
            when_served(each.request);
        }
        qz_audio_play(player);
        platform::run_all();
        EXPECT_EQ(virtual_now(), start) << each.name;
        substitute::forget_plans();
    }
}

TEST_F(EndOfTrackTest, TheLibrariesAreCalledAsWithoutTheWait)
{
    wait_after(1, immediately);
    const lines expected{"out123_play(ao1, 800)", "mpg123_read(mh1, 800)",
                         "out123_play(ao1, 0)",   "out123_drop(ao1)",
                         "out123_stop(ao1)",      "mpg123_seek(mh1, 0, 0)"};
    const lines calls = library_calls();
    ASSERT_GE(calls.size(), expected.size());
    EXPECT_EQ(lines(calls.end() - static_cast<std::ptrdiff_t>(expected.size()), calls.end()),
              expected);
}

TEST_F(EndOfTrackTest, AStopANewTrackOrADestroyEndsTheWait)
{
    const std::vector<std::function<void()>> requests{
        [this] { qz_audio_stop(player, nullptr); },
        [this] { qz_audio_set_audio_track(player, "song"); },
        [this] { qz_audio_destroy(player, "", 0); },
    };
    for (const auto& request : requests) {
        std::size_t sleeps = 0;
        substitute::at_every_sleep([&] {
            if (++sleeps == 3) {
                platform::as_caller(request);
            }
        });
        const duration wait = wait_after(20, immediately);
        EXPECT_EQ(sleeps, 3U);
        EXPECT_LE(wait, 20ms);
    }
}

TEST_F(EndOfTrackTest, OtherRequestsAreServedAfterTheWaitByTheRulesOfAStoppedPlayer)
{
    observe(player);
    bool asked = false;
    substitute::at_every_sleep([&] {
        if (!std::exchange(asked, true)) {
            platform::as_caller([this] {
                qz_audio_pause(player);
                qz_audio_set_volume(player, 70);
                qz_audio_set_repeat(player, true);
                qz_audio_open(qz_audio_ptr()); // a warning, and nothing else
            });
        }
    });
    EXPECT_EQ(wait_after(20, immediately), 20 * block);
    EXPECT_EQ(take_events(), (lines{"status opened", "status loaded", "status playing",
                                    "status stopped", "volume 70"}));
    EXPECT_EQ(take_output().size(), 1U);
}

TEST_F(EndOfTrackTest, APlayDuringTheWaitStartsTheTrackAgain)
{
    observe(player);
    bool asked = false;
    substitute::at_every_sleep([&] {
        if (!std::exchange(asked, true)) {
            platform::as_caller([this] { qz_audio_play(player); });
        }
    });
    wait_after(2, immediately);
    EXPECT_EQ(substitute::played().size(), 4 * bytes_of_block);
    EXPECT_EQ(take_events(),
              (lines{"status opened", "status loaded", "status playing", "status stopped",
                     "status loaded", "status playing", "status stopped"}));
}

TEST_F(EndOfTrackTest, AStopThatWasServedDoesNotEndALaterWait)
{
    for (int i = 0; i < 3; ++i) {
        qz_audio_stop(player, nullptr);
        qz_audio_set_audio_track(player, "song");
    }
    platform::run_all();
    EXPECT_EQ(wait_after(20, immediately), 20 * block);
}
