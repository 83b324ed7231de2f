#include "virtual_clock.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace substitute
{

namespace
{

std::atomic<duration::rep> elapsed{0};
std::mutex action_mutex;
std::function<void()> sleep_action;

} // namespace

time_point virtual_now()
{
    return time_point(duration(elapsed));
}

void pass_time(duration time)
{
    elapsed += time.count();
}

void at_every_sleep(std::function<void()> action)
{
    const std::lock_guard<std::mutex> lock(action_mutex);
    sleep_action = std::move(action);
}

void virtual_sleep(duration time)
{
    pass_time(time);
    std::function<void()> action;
    {
        const std::lock_guard<std::mutex> lock(action_mutex);
        action = sleep_action;
    }
    if (action) {
        action();
    }
}

} // namespace substitute
