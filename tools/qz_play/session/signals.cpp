#include "session/signals.h"

#include "exit_status.h"

#include <array>
#include <csignal>
#include <thread>
#include <utility>
#include <variant>

#include <unistd.h>

namespace
{

bool is_ignored(int signal)
{
    struct sigaction action {
    };
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

/// Each ends a process that does not watch it, but for the last, which stops it.
constexpr std::array watched_unless_ignored{SIGHUP,  SIGINT,    SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2,
                                            SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU, SIGTSTP};

/// What is ignored, as a hang-up by nohup and an interrupt by a script's shell, stays so.
sigset_t watched_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGCONT, SIGWINCH}) {
        sigaddset(&signals, signal);
    }
    for (const int signal : watched_unless_ignored) {
        if (!is_ignored(signal)) {
            sigaddset(&signals, signal);
        }
    }
    return signals;
}

/// Without these, reading and writing the terminal out of the background stops no process.
void add_background_signals(sigset_t& signals)
{
    sigaddset(&signals, SIGTTIN);
    sigaddset(&signals, SIGTTOU);
}

event event_of(int signal)
{
    switch (signal) {
    case SIGTSTP:
        return suspend_requested{};
    case SIGCONT:
        return continued{};
    case SIGWINCH:
        return screen_changed{};
    default:
        return end_requested{};
    }
}

} // namespace

void block_watched_signals()
{
    sigset_t signals = watched_signals();
    add_background_signals(signals);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void watch_signals(std::shared_ptr<event_queue> events, std::function<void()> clean_up)
{
    const auto watch = [events = std::move(events), clean_up = std::move(clean_up)] {
        const sigset_t signals = watched_signals();
        bool end_was_asked_for = false;
        for (;;) {
            int signal = 0;
            sigwait(&signals, &signal);
            const event happened = event_of(signal);
            const bool asks_for_end = std::holds_alternative<end_requested>(happened);
            if (asks_for_end && std::exchange(end_was_asked_for, true)) {
                clean_up();
                _exit(exit_by_signal);
            }
            events->push(happened);
        }
    };
    std::thread(watch).detach();
}

void stop_this_process()
{
    sigset_t stop;
    sigemptyset(&stop);
    sigaddset(&stop, SIGTSTP);
    pthread_sigmask(SIG_UNBLOCK, &stop, nullptr);
    raise(SIGTSTP);
    pthread_sigmask(SIG_BLOCK, &stop, nullptr);
}
