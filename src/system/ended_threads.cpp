#include "system/ended_threads.h"

#include "system/system_service.h"

#include <pthread.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace
{

/// While the system service is held up, no more stacks than these wait for it.
constexpr std::size_t most_held = 64;

struct ended_threads {
    std::mutex mutex;
    std::vector<pthread_t> threads;
    bool process_ends = false;
    const pid_t process = getpid();
};

ended_threads& ended()
{
    // Never destroyed: threads may still end while the process does.
    static ended_threads& left = *new ended_threads;
    return left;
}

/// Frees the stack of each, or lets it do so itself where it has not quite ended. Waits for none.
void let_go_of_threads()
{
    std::vector<pthread_t> left;
    {
        const std::lock_guard<std::mutex> lock(ended().mutex);
        left.swap(ended().threads);
    }
    for (const pthread_t thread : left) {
        pthread_detach(thread);
    }
}

/// Returns false where nobody would let go of the calling thread, or none too soon.
bool add_this_thread()
{
    const std::lock_guard<std::mutex> lock(ended().mutex);
    if (ended().process_ends || ended().threads.size() == most_held) {
        return false;
    }
    ended().threads.push_back(pthread_self());
    return true;
}

void end_with_process()
{
    if (getpid() != ended().process) {
        return; // a child of a fork has none of the threads, and perhaps a mutex that nobody unlocks
    }
    {
        const std::lock_guard<std::mutex> lock(ended().mutex);
        ended().process_ends = true;
    }
    let_go_of_threads();
}

} // namespace

void leave_stack_to_system_service() noexcept
{
    bool added = false;
    try {
        added = add_this_thread();
        if (added) {
            system_service().post(let_go_of_threads);
        }
    } catch (const std::bad_alloc&) { // once added, the next thread that ends has both let go
    }
    if (!added) {
        let_go_of_threads();
        pthread_detach(pthread_self());
    }
}

void let_go_of_threads_at_exit()
{
    ended(); // made here, so that no exit has to
    static const int registered = std::atexit(end_with_process);
    static_cast<void>(registered);
}
