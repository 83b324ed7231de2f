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

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) noexcept
{
    using function = decltype(&pthread_create);
    static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "pthread_create"));
    return may_start() ? real(thread, attributes, routine, argument) : EAGAIN;
}

failing_threads::failing_threads(int allowed)
{
    still_allowed = allowed;
}

failing_threads::~failing_threads()
{
    still_allowed = any_number;
}
