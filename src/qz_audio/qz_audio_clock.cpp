#include "qz_audio/qz_audio_clock.h"

#include <thread>

time_point clock_now()
{
    return std::chrono::steady_clock::now();
}

void clock_sleep(duration time)
{
    std::this_thread::sleep_for(time);
}
