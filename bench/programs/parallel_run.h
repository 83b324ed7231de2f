/// \file
/// \brief Prints, for ours and the reference alike, about many that play one track at the same time:
/// "playing" when all play, and the processor time from the first play to the last end, in seconds.
#pragma once

#include "countdown.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

struct parallel_options {
    int count;
    const char* track;
};

inline parallel_options read_parallel_options(int argc, char** argv)
{
    const int count = argc == 3 ? std::atoi(argv[1]) : 0;
    if (count < 1) {
        std::fprintf(stderr, "usage: %s COUNT TRACK\n", argv[0]);
        std::_Exit(1);
    }
    return {count, argv[2]};
}

/// How far they all are.
class parallel_progress
{
public:
    explicit parallel_progress(int count) : loaded(count), playing(count), ended(count) {}

    /// Has `play` start all of them once they are loaded, and prints until they have ended.
    template <typename Play>
    void print(Play play)
    {
        loaded.wait();
        const std::clock_t start = std::clock();
        play();
        playing.wait();
        std::puts("playing");
        std::fflush(stdout);
        ended.wait();
        std::printf("%.6f\n", static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
    }

    countdown loaded;
    countdown playing;
    countdown ended;
};
