// Counts what is allocated, by the library under test too, and fills what is freed. The program is
// linked so that `malloc` and `free` come here (the linker's `--wrap`).
#include "memory.h"

#include "sound.h"

#include <malloc.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

extern "C" {
void* __real_malloc(std::size_t size);
void __real_free(void* memory);
void* __wrap_malloc(std::size_t size);
void __wrap_free(void* memory);
}

namespace
{

long allocated = 0;

/// What `malloc` was asked for by name: the players' blocks, one a player at most.
struct block {
    void* memory = nullptr;
    std::size_t size = 0;
};
std::array<block, 64> blocks;

void keep(void* memory, std::size_t size)
{
    for (block& each : blocks) {
        if (each.memory == nullptr) {
            each = {memory, size};
            return;
        }
    }
}

void forget(const void* memory)
{
    for (block& each : blocks) {
        if (each.memory == memory) {
            each = {};
        }
    }
}

/// Whoever reads it after its end reads nothing that looks right.
void release(void* memory)
{
    constexpr int released = 0xdd;
    if (memory != nullptr) {
        --allocated;
        std::memset(memory, released, malloc_usable_size(memory));
        __real_free(memory);
    }
}

} // namespace

void* __wrap_malloc(std::size_t size)
{
    ++allocated;
    void* const memory = __real_malloc(size);
    keep(memory, size);
    return memory;
}

void __wrap_free(void* memory)
{
    forget(memory);
    release(memory);
}

void* operator new(std::size_t size)
{
    void* const memory = __real_malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++allocated;
    return memory;
}

void operator delete(void* memory) noexcept
{
    release(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    release(memory);
}

namespace simulation
{

long allocations_alive()
{
    return allocated;
}

std::size_t size_of_block(const void* memory)
{
    for (const block& each : blocks) {
        if (each.memory == memory && memory != nullptr) {
            return each.size;
        }
    }
    return 0;
}

} // namespace simulation
