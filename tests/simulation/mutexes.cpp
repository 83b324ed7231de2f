#include "mutexes.h"

#include "invariants.h"
#include "scheduler.h"

#include "qz_audio/qz_audio.h"

#include <algorithm>

namespace simulation
{

namespace
{

// A mutex that nobody has used is all zeros, and its owner's field is ours.
int& holders(pthread_mutex_t& mutex)
{
    return mutex.__data.__lock;
}

const pthread_mutex_t* last_locked = nullptr;

void lock(pthread_mutex_t& mutex)
{
    last_locked = &mutex;
    scheduler* const schedule = scheduler::running();
    if (schedule != nullptr && schedule->current() != nullptr) {
        thread& self = *schedule->current();
        check_lock_order(self, mutex);
        schedule->point("locks");
        while (is_locked(mutex)) {
            schedule->wait(&mutex);
        }
        self.locks.push_back(&mutex);
    }
    holders(mutex) = 1;
}

void unlock(pthread_mutex_t& mutex)
{
    holders(mutex) = 0;
    scheduler* const schedule = scheduler::running();
    if (schedule != nullptr && schedule->current() != nullptr) {
        thread& self = *schedule->current();
        check_unlock(self, mutex);
        self.locks.erase(std::remove(self.locks.begin(), self.locks.end(), &mutex),
                         self.locks.end());
        schedule->notify(&mutex);
        schedule->point("unlocks");
    }
}

} // namespace

bool is_locked(const pthread_mutex_t& mutex)
{
    return mutex.__data.__lock != 0;
}

const pthread_mutex_t* module_path_mutex()
{
    // For the first time outside of any simulation, where no other thread takes a lock.
    static const pthread_mutex_t* const found = [] {
        qz_audio_get_bin_path();
        return last_locked;
    }();
    return found;
}

} // namespace simulation

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept
{
    simulation::lock(*mutex);
    return 0;
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept
{
    simulation::unlock(*mutex);
    return 0;
}
