#include "signals.h"

#include "exit_status.h"

#include <csignal>
#include <thread>
#include <utility>

#include <unistd.h>

namespace
{

/// A hang-up that is ignored, as by nohup, stays so.
bool hang_up_is_ignored()
{
    struct sigaction action {
    };
    return sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (!hang_up_is_ignored()) {
        sigaddset(&signals, SIGHUP);
    }
    return signals;
}

} // namespace

void block_end_signals()
{
    const sigset_t signals = end_signals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void watch_end_signals(std::shared_ptr<event_queue> events, std::function<void()> clean_up)
{
    const auto watch = [events = std::move(events), clean_up = std::move(clean_up)] {
        const sigset_t signals = end_signals();
        int signal = 0;
        sigwait(&signals, &signal);
        events->push(end_requested{});
        sigwait(&signals, &signal);
        clean_up();
        _exit(exit_by_signal);
    };
    std::thread(watch).detach();
}
