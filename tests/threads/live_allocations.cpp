#include "live_allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace
{

std::atomic<long> alive{0};

} // namespace

long live_allocations()
{
    return alive;
}

// Each form is replaced, since a sanitizer brings its own.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    void* const memory = std::malloc(size == 0 ? 1 : size);
    alive += memory != nullptr ? 1 : 0;
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
    alive -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    operator delete(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    operator delete(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    operator delete(memory);
}
