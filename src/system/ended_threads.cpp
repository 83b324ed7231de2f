#include "system/ended_threads.h"

#include "system/system_service.h"

#include <pthread.h>

#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace
{

struct ended_threads {
    std::mutex mutex;
    std::vector<pthread_t> to_join;
    bool process_ends = false;
};

ended_threads& ended()
{
    // Never destroyed: threads may still end while the process does.
    static ended_threads& threads = *new ended_threads;
    return threads;
}

/// Each of them has nothing left to do but to return.
void join_ended()
{
    std::vector<pthread_t> threads;
    {
        const std::lock_guard<std::mutex> lock(ended().mutex);
        threads.swap(ended().to_join);
    }
    for (const pthread_t thread : threads) {
        pthread_join(thread, nullptr);
    }
}

/// Returns whether somebody will join the calling thread.
bool add_this_thread()
{
    const std::lock_guard<std::mutex> lock(ended().mutex);
    if (!ended().process_ends) {
        ended().to_join.push_back(pthread_self());
    }
    return !ended().process_ends;
}

void end_with_process()
{
    {
        const std::lock_guard<std::mutex> lock(ended().mutex);
        ended().process_ends = true;
    }
    join_ended();
}

} // namespace

void leave_to_be_joined() noexcept
{
    bool added = false;
    try {
        added = add_this_thread();
        system_service().post(join_ended);
    } catch (const std::bad_alloc&) { // added already: the next thread that ends has both joined
    }
    if (!added) {
        pthread_detach(pthread_self());
    }
}

void join_all_at_exit()
{
    ended();
    std::atexit(end_with_process);
}
