/// \file
/// \brief Prints, for ours and the reference alike, the seconds that it took to make many idle objects
/// and, once a line has been read or the input has ended, those that it took to end them.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

/// Prints how many seconds `work` took.
template <typename Work>
void print_time(Work work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%.9f\n", taken.count());
    std::fflush(stdout);
}

/// Polls `happened`.
template <typename Predicate>
void wait_until(Predicate happened)
{
    while (!happened()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

/// How many threads this process has: the folder has a link for each besides its own two.
inline unsigned long thread_count()
{
    struct stat tasks {
    };
    stat("/proc/self/task", &tasks);
    return tasks.st_nlink - 2;
}

/// `Objects(count)` makes them, and `end()` returns when nothing of them is left.
template <typename Objects>
int run_idle(int argc, char** argv)
{
    const int count = argc == 2 ? std::atoi(argv[1]) : 0;
    if (count < 1) {
        std::fprintf(stderr, "usage: %s COUNT\n", argv[0]);
        return 1;
    }
    std::unique_ptr<Objects> objects;
    print_time([&] { objects = std::make_unique<Objects>(count); });
    static_cast<void>(std::getchar());
    print_time([&] { objects->end(); });
    return 0;
}
