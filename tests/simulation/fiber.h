/// \file
/// \brief A stack to run on, and the switch from one to another, all on one thread of the process.
#pragma once

#include <ucontext.h>

#include <cstddef>
#include <functional>

namespace simulation
{

/// A flow of control with a stack of its own. No exception may leave its body, and the body may not
/// return: it switches away for good.
class fiber
{
public:
    /// The flow that runs already, on the thread's own stack.
    fiber() = default;

    /// A flow that begins with `body` when it is switched to for the first time.
    explicit fiber(std::function<void()> body);

    ~fiber();
    fiber(const fiber&) = delete;
    fiber& operator=(const fiber&) = delete;

    /// Leaves `from`, which runs, for `to`. Returns when somebody switches back.
    static void switch_to(fiber& from, fiber& to);

private:
    static void begin();
    void arrived(const void** previous_stack, std::size_t* previous_size);

    std::function<void()> body_;
    void* stack_ = nullptr;
    ucontext_t context_{};
    [[maybe_unused]] void* fake_stack_ = nullptr; ///< AddressSanitizer's, while another one runs.
    const void* known_stack_ = nullptr;
    std::size_t known_size_ = 0;
};

} // namespace simulation
