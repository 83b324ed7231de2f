#include "fiber.h"

#include <sys/mman.h>

#include <array>
#include <cstdlib>
#include <cxxabi.h>
#include <utility>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace simulation
{

namespace
{

constexpr std::size_t guard_size = 4096;
constexpr std::size_t stack_size = 512 * 1024;

/// Stacks are kept for the next fiber: mapping one takes longer than a short simulation.
struct stack_store {
    std::array<void*, 32> free{};
    std::size_t count = 0;
};
stack_store store;

void* map_stack()
{
    void* const base = mmap(nullptr, guard_size + stack_size, PROT_READ | PROT_WRITE,
                            MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED || mprotect(base, guard_size, PROT_NONE) != 0) {
        std::abort();
    }
    return static_cast<char*>(base) + guard_size;
}

void* take_stack()
{
    return store.count == 0 ? map_stack() : store.free.at(--store.count);
}

void give_stack_back(void* stack)
{
    if (store.count < store.free.size()) {
        store.free.at(store.count++) = stack;
    } else {
        munmap(static_cast<char*>(stack) - guard_size, guard_size + stack_size);
    }
}

/// What the C++ run-time library knows of the exceptions in flight; the ABI fixes this much of it. A
/// flow may be left inside a catch block, and another one may throw meanwhile.
struct exceptions_in_flight {
    void* caught;
    unsigned uncaught;
};

exceptions_in_flight& current_exceptions()
{
    return *reinterpret_cast<exceptions_in_flight*>(abi::__cxa_get_globals());
}

fiber* leaving = nullptr;
fiber* arriving = nullptr;

} // namespace

fiber::fiber(std::function<void()> body) : body_(std::move(body)), stack_(take_stack())
{
    getcontext(&context_);
    context_.uc_stack.ss_sp = stack_;
    context_.uc_stack.ss_size = stack_size;
    known_stack_ = stack_;
    known_size_ = stack_size;
    makecontext(&context_, &fiber::begin, 0);
}

fiber::~fiber()
{
    if (stack_ != nullptr) {
        give_stack_back(stack_);
    }
}

void fiber::arrived([[maybe_unused]] const void** previous_stack,
                    [[maybe_unused]] std::size_t* previous_size)
{
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_finish_switch_fiber(fake_stack_, previous_stack, previous_size);
#endif
}

void fiber::begin()
{
    arriving->arrived(&leaving->known_stack_, &leaving->known_size_);
    arriving->body_();
    std::abort();
}

void fiber::switch_to(fiber& from, fiber& to)
{
    const exceptions_in_flight own = std::exchange(current_exceptions(), {nullptr, 0});
    leaving = &from;
    arriving = &to;
#if defined(__SANITIZE_ADDRESS__)
    __sanitizer_start_switch_fiber(&from.fake_stack_, to.known_stack_, to.known_size_);
#endif
    swapcontext(&from.context_, &to.context_);
    from.arrived(&leaving->known_stack_, &leaving->known_size_);
    current_exceptions() = own;
}

} // namespace simulation
