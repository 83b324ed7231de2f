#include "support.h"
#include "support_decoder.h"
#include "support_pipe.h"
#include "support_player.h"

#include "event.h"
#include "process.h"
#include "wav_file.h"

#include <atomic>
#include <csignal>
#include <ctime>
#include <future>
#include <optional>

using ::testing::ElementsAre;

namespace
{

std::atomic<int> handled{0};

extern "C" void count_signal(int)
{
    ++handled;
}

/// Handles SIGUSR1 while it lives. Afterwards the signal is ignored: the last one may still be on its way.
class handled_signal
{
public:
    explicit handled_signal(int flags)
    {
        action_.sa_handler = &count_signal;
        action_.sa_flags = flags;
        sigaction(SIGUSR1, &action_, nullptr);
    }
    ~handled_signal() { std::signal(SIGUSR1, SIG_IGN); }
    handled_signal(const handled_signal&) = delete;
    handled_signal& operator=(const handled_signal&) = delete;

private:
    struct sigaction action_ = {};
};

pid_t thread_of(const qz_audio_ptr& player)
{
    const auto id = std::make_shared<std::promise<pid_t>>();
    qz_thread_service_exec(
        player->thread_service, [id] { id->set_value(thread_id()); }, __FILE__, __LINE__);
    return id->get_future().get();
}

/// Signals to the thread, a thousand a second, while it lives.
class interruptions
{
public:
    explicit interruptions(pid_t thread)
    {
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = SIGUSR1;
        event._sigev_un._tid = thread;
        EXPECT_EQ(timer_create(CLOCK_MONOTONIC, &event, &timer_), 0);
        const itimerspec period{{0, 1'000'000}, {0, 1'000'000}};
        EXPECT_EQ(timer_settime(timer_, 0, &period, nullptr), 0);
    }
    ~interruptions() { timer_delete(timer_); }
    interruptions(const interruptions&) = delete;
    interruptions& operator=(const interruptions&) = delete;

private:
    timer_t timer_{};
};

/// A player whose thread is interrupted by signals again and again. The parameter is the handler's flags.
class signals : public real_test, public ::testing::WithParamInterface<int>
{
protected:
    signals() { write_sound_to(path("%r-%c.wav")); }

    static bool handles_more(int count)
    {
        return wait_until([end = handled + count] { return handled >= end; });
    }

    void expect_rounds_of_track()
    {
        const std::string heard = written_samples(44100, 2);
        const decoded_track once = decode(track);
        const auto rounds = static_cast<int>(heard.size() / once.samples.size());
        EXPECT_TRUE(same_samples(heard, decode(track, 1.0, rounds).samples));
        EXPECT_THAT(player.end(), ElementsAre("opened", "loaded", "playing", "stopped", "none"));
    }

    const handled_signal handler{GetParam()};
    const std::string track = make_track({});
    told_player player;
    std::optional<interruptions> often{std::in_place, thread_of(player.handle())};
};

} // namespace

TEST_P(signals, lose_no_sample)
{
    qz_audio_set_repeat(player.handle(), true);
    qz_audio_set_audio_track(player.handle(), track);
    qz_audio_play(player.handle());
    ASSERT_TRUE(player.waits_for("playing"));
    EXPECT_TRUE(handles_more(100));
    qz_audio_set_repeat(player.handle(), false);
    EXPECT_TRUE(player.waits_for("stopped"));
    often.reset();
    expect_rounds_of_track();
}

INSTANTIATE_TEST_SUITE_P(handled, signals, ::testing::Values(0, SA_RESTART),
                         [](const auto& tested) {
                             return tested.param == 0 ? "interrupting" : "restarting";
                         });

// Without SA_RESTART, libmpg123 takes an interrupted read of a pipe for an error.
using restarting_signals = signals;

TEST_P(restarting_signals, lose_no_sample_of_a_track_that_comes_through_a_pipe)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer calls no handler while the thread waits for the pipe";
#endif
    const std::string bytes = read_file(track);
    std::optional<track_pipe> writer(std::in_place, path("pipe.mp3"));
    qz_audio_set_audio_track(player.handle(), path("pipe.mp3"));
    qz_audio_play(player.handle());
    constexpr std::size_t part = 1000;
    for (std::size_t start = 0; start < bytes.size(); start += part) {
        ASSERT_TRUE(writer->passes(bytes.substr(start, part)));
        ASSERT_TRUE(handles_more(10));
    }
    writer.reset();
    EXPECT_TRUE(player.waits_for("stopped"));
    often.reset();
    expect_rounds_of_track();
}

INSTANTIATE_TEST_SUITE_P(handled, restarting_signals, ::testing::Values(SA_RESTART),
                         [](const auto&) { return "restarting"; });
