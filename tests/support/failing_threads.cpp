#include "failing_threads.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <limits>

namespace
{

constexpr int any_number = std::numeric_limits<int>::max();

std::atomic<int> still_allowed{any_number};

bool may_start()
{
    return still_allowed == any_number || still_allowed-- > 0;
}

} // namespace

extern "C" int pthread_create(pthread_t* newthread, const pthread_attr_t* attr,
                              void* (*start_routine)(void*), void* arg) noexcept
{
    using function = decltype(&pthread_create);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is for.
    static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_create"));
    return may_start() ? real(newthread, attr, start_routine, arg) : EAGAIN;
}

failing_threads::failing_threads(int allowed)
{
    still_allowed = allowed;
}

failing_threads::~failing_threads()
{
    still_allowed = any_number;
}
