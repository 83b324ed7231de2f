#include "failing_allocation.h"

#include "call_log.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

int armed = 0; // in how many scopes allocations are to fail

thread_local unsigned allocations_left = 0; // 0 while none is to fail
thread_local bool failed = false;

thread_local std::size_t wanted_size = 0; // 0 while none is looked for
thread_local void* found = nullptr;

std::atomic<unsigned> allocations_left_anywhere{0};
std::atomic<bool> failed_anywhere{false};

std::atomic<std::size_t> size_that_fails{0}; // 0 while there is none

bool is_last_here()
{
    failed = --allocations_left == 0;
    return failed;
}

bool is_last_anywhere()
{
    unsigned left = allocations_left_anywhere;
    while (left != 0 && !allocations_left_anywhere.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1) {
        failed_anywhere = true;
    }
    return left == 1;
}

bool fails_now(std::size_t size)
{
    const bool this_size = size != 0 && size == size_that_fails;
    if ((!this_size && allocations_left == 0 && allocations_left_anywhere == 0) ||
        substitute::inside_substitute()) {
        return false;
    }
    if (this_size) {
        return true;
    }
    return allocations_left != 0 ? is_last_here() : is_last_anywhere();
}

void look_at(void* memory, std::size_t size)
{
    if (size == wanted_size && found == nullptr && !substitute::inside_substitute()) {
        found = memory;
    }
}

} // namespace

// Below the program's own stands a sanitizer's, or the C library's, in whose place valgrind puts its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" void* __interceptor_malloc(std::size_t size) noexcept;
constexpr auto& next_malloc = __interceptor_malloc;
#else
static void* next_malloc(std::size_t size)
{
    using function = decltype(&malloc);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is for.
    static const auto next = reinterpret_cast<function>(dlsym(RTLD_NEXT, "malloc"));
    return next(size);
}
#endif

// Called before a sanitizer has set itself up, when nothing may be instrumented. The tail call leaves no
// frame behind, so that the leak checker knows the dynamic linker's own memory by who asked for it.
extern "C" __attribute__((no_sanitize("address", "thread"))) void* malloc(std::size_t size) noexcept
{
    const bool fails = __atomic_load_n(&armed, __ATOMIC_RELAXED) != 0 && fails_now(size);
    return fails ? nullptr : next_malloc(size);
}

failing_allocation::failing_allocation(unsigned number)
{
    failed = false;
    allocations_left = number;
    __atomic_add_fetch(&armed, 1, __ATOMIC_RELAXED);
}

failing_allocation::~failing_allocation()
{
    __atomic_sub_fetch(&armed, 1, __ATOMIC_RELAXED);
    allocations_left = 0;
}

bool failing_allocation::has_failed()
{
    return failed;
}

failing_allocation_anywhere::failing_allocation_anywhere(unsigned number)
{
    failed_anywhere = false;
    allocations_left_anywhere = number;
    __atomic_add_fetch(&armed, 1, __ATOMIC_RELAXED);
}

failing_allocation_anywhere::~failing_allocation_anywhere()
{
    __atomic_sub_fetch(&armed, 1, __ATOMIC_RELAXED);
    allocations_left_anywhere = 0;
}

bool failing_allocation_anywhere::has_failed()
{
    return failed_anywhere;
}

failing_size::failing_size(std::size_t size)
{
    size_that_fails = size;
    __atomic_add_fetch(&armed, 1, __ATOMIC_RELAXED);
}

failing_size::~failing_size()
{
    __atomic_sub_fetch(&armed, 1, __ATOMIC_RELAXED);
    size_that_fails = 0;
}

first_allocation::first_allocation(std::size_t size)
{
    found = nullptr;
    wanted_size = size;
}

first_allocation::~first_allocation()
{
    wanted_size = 0;
}

void* first_allocation::address()
{
    return found;
}

// Each form is replaced, since a sanitizer brings its own.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    void* const memory = std::malloc(size == 0 ? 1 : size);
    look_at(memory, size);
    return memory;
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return operator new(size, std::nothrow);
}

void* operator new(std::size_t size)
{
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}
