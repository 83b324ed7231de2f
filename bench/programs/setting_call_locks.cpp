// Prints, for each call, how many mutexes the calling thread locks, and how many of these it locks for
// another player too.

#include "setting_calls.h"

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>

namespace
{

using mutexes = std::set<const void*>;

/// Where this thread's locks are recorded, if they are.
thread_local mutexes* recorded = nullptr;

/// The mutexes that this thread locks during `call` on `player`.
mutexes locked_by(void (*call)(const qz_audio_ptr&), const qz_audio_ptr& player)
{
    mutexes locked;
    recorded = &locked;
    call(player);
    recorded = nullptr;
    return locked;
}

void print_locks(const char* name, void (*call)(const qz_audio_ptr&), const qz_audio_ptr& one,
                 const qz_audio_ptr& other)
{
    const mutexes of_one = locked_by(call, one);
    const mutexes of_other = locked_by(call, other);
    mutexes common;
    std::set_intersection(of_one.begin(), of_one.end(), of_other.begin(), of_other.end(),
                          std::inserter(common, common.end()));
    std::printf("%s %zu %zu\n", name, of_one.size(), common.size());
}

} // namespace

/// Takes the C library's place for this program and its libraries: notes the mutex, and locks it.
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    using function = int (*)(pthread_mutex_t*);
    static const auto lock = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (recorded != nullptr) {
        recorded->insert(mutex);
    }
    return lock(mutex);
}

int main()
{
    const qz_audio_ptr one = qz_audio_new();
    const qz_audio_ptr other = qz_audio_new();
    for (const setting_call& call : setting_calls) {
        print_locks(call.name, call.ours, one, other);
    }
    for (const player_call& call : player_calls) {
        print_locks(call.name, call.ours, one, other);
    }
    qz_audio_destroy(one, __FILE__, __LINE__);
    qz_audio_destroy(other, __FILE__, __LINE__);
    return 0;
}
