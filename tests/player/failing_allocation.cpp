#include "failing_allocation.h"

#include "call_log.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

thread_local unsigned allocations_left = 0; // 0 while none is to fail
thread_local bool failed = false;

thread_local std::size_t wanted_size = 0; // 0 while none is looked for
thread_local void* found = nullptr;

std::atomic<unsigned> allocations_left_anywhere{0};
std::atomic<bool> failed_anywhere{false};

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

bool fails_now()
{
    if ((allocations_left == 0 && allocations_left_anywhere == 0) ||
        substitute::inside_substitute()) {
        return false;
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

extern "C" void* malloc(std::size_t size) noexcept
{
    using function = decltype(&malloc);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is for.
    static const auto real = reinterpret_cast<function>(dlsym(RTLD_NEXT, "malloc"));
    return fails_now() ? nullptr : real(size);
}

failing_allocation::failing_allocation(unsigned number)
{
    failed = false;
    allocations_left = number;
}

failing_allocation::~failing_allocation()
{
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
}

failing_allocation_anywhere::~failing_allocation_anywhere()
{
    allocations_left_anywhere = 0;
}

bool failing_allocation_anywhere::has_failed()
{
    return failed_anywhere;
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
