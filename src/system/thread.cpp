#include "system/thread.h"

#include <pthread.h>

#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace
{

// The kernel's limit for a thread's name.
constexpr std::size_t longest_name = 15;

class thread_attributes
{
public:
    explicit thread_attributes(std::size_t stack_size)
    {
        check(pthread_attr_init(&attributes_));
        check(pthread_attr_setstacksize(&attributes_, stack_size));
        check(pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED));
    }
    ~thread_attributes() { pthread_attr_destroy(&attributes_); }
    thread_attributes(const thread_attributes&) = delete;
    thread_attributes& operator=(const thread_attributes&) = delete;

    [[nodiscard]] const pthread_attr_t* get() const { return &attributes_; }

    static void check(int error)
    {
        if (error != 0) {
            throw std::system_error(error, std::generic_category());
        }
    }

private:
    pthread_attr_t attributes_{};
};

/// What a thread owns.
struct thread_start {
    std::string name;
    std::function<void()> work;
};

extern "C" void* run_thread(void* argument)
{
    const std::unique_ptr<thread_start> start(static_cast<thread_start*>(argument));
    // Named from inside: naming another thread goes through /proc and takes a fifth of a player's creation.
    pthread_setname_np(pthread_self(), start->name.c_str());
    start->work();
    return nullptr;
}

} // namespace

void start_thread(const std::string& name, std::size_t stack_size, std::function<void()> work)
{
    const thread_attributes attributes(stack_size);
    auto start =
        std::make_unique<thread_start>(thread_start{name.substr(0, longest_name), std::move(work)});
    pthread_t thread{};
    thread_attributes::check(pthread_create(&thread, attributes.get(), run_thread, start.get()));
    static_cast<void>(start.release()); // owned by the thread now
}
