/// \file
/// \brief What a crowd that does nothing tells, ours and the reference alike: the seconds that it took
/// to make it and, once a line has been read or the input has ended, those that it took to end it.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

/// Prints how many seconds `work` took.
template <typename Work>
void tell_time(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%.9f\n", taken.count());
    std::fflush(stdout);
}

/// Asks `happened` again and again.
template <typename Predicate>
void wait_until(Predicate happened)
{
    while (!happened()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// How many threads this process has: the folder has a link for each beside its own two.
inline unsigned long thread_count()
{
    struct stat tasks {
    };
    stat("/proc/self/task", &tasks);
    return tasks.st_nlink - 2;
}

/// `Crowd(count)` makes it, and `end()` returns when nothing of it is left.
template <typename Crowd>
int run_idle(int argc, char** argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (count < 1) {
        std::fprintf(stderr, "usage: %s COUNT\n", argv[0]);
        return 1;
    }
    std::unique_ptr<Crowd> crowd;
    tell_time([&] { crowd = std::make_unique<Crowd>(count); });
    static_cast<void>(std::getchar());
    tell_time([&] { crowd->end(); });
    return 0;
}
