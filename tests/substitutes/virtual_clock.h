/// \file
/// \brief The time of the library under test. It passes when the library sleeps, and when a test lets it pass.
///
/// May be used from any thread.
#pragma once

#include <chrono>
#include <functional>

namespace substitute
{

using time_point = std::chrono::steady_clock::time_point;
using duration = std::chrono::steady_clock::duration;

time_point virtual_now();

/// Lets `time` pass.
void pass_time(duration time);

/// Calls `action`, if not empty, at the end of every sleep of the library from now on.
void at_every_sleep(std::function<void()> action);

/// Lets `time` pass and calls the action. For the library under test.
void virtual_sleep(duration time);

} // namespace substitute
