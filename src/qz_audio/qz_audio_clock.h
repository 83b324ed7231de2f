/// \file
/// \brief The library's only clock and its only sleep. Tests link a virtual clock instead.
#pragma once

#include <chrono>

using time_point = std::chrono::steady_clock::time_point;
using duration = std::chrono::steady_clock::duration;

time_point clock_now();

void clock_sleep(duration time);
