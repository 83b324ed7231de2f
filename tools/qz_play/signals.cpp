#include "signals.h"

#include <array>
#include <csignal>
#include <vector>

#include <pthread.h>

namespace
{

/// SIGCONT and SIGWINCH are watched even if they are ignored. The signals after SIGTSTP end a process by default.
constexpr std::array all_signals{SIGCONT, SIGWINCH, SIGTSTP, SIGHUP,    SIGINT,  SIGQUIT, SIGTERM,
                                 SIGUSR1, SIGUSR2,  SIGALRM, SIGVTALRM, SIGPROF, SIGXCPU};

bool is_ignored(int signal)
{
    struct sigaction action {
    };
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void change_mask(int how, const std::vector<int>& signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(how, &set, nullptr);
}

std::vector<int> watched_signals()
{
    std::vector<int> watched;
    for (const int signal : all_signals) {
        if (!is_ignored(signal) || signal == SIGCONT || signal == SIGWINCH) {
            watched.push_back(signal);
        }
    }
    return watched;
}

} // namespace

void block_signals()
{
    change_mask(SIG_BLOCK, watched_signals());
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

void block_terminal_signals()
{
    change_mask(SIG_BLOCK, {SIGTTIN, SIGTTOU});
}

void stop_this_process()
{
    change_mask(SIG_UNBLOCK, {SIGTSTP});
    raise(SIGTSTP);
    change_mask(SIG_BLOCK, {SIGTSTP});
}

signal_watches::signal_watches(event_loop& loop, const handlers& handle)
{
    for (const int signal : watched_signals()) {
        const auto& handler = signal == SIGTSTP    ? handle.suspend
                              : signal == SIGCONT  ? handle.continued
                              : signal == SIGWINCH ? handle.resized
                                                   : handle.end;
        watches_.emplace_back(loop, signal, handler);
    }
}
