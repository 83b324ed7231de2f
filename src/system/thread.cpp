#include "system/thread.h"

#include <pthread.h>

#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace
{

// What the kernel keeps of a thread's name.
constexpr std::size_t longest_name = 15;

class thread_attributes
{
public:
    explicit thread_attributes(std::size_t stack_size)
    {
        check(pthread_attr_init(&attributes_));
        check(pthread_attr_setstacksize(&attributes_, stack_size));
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

/// What a thread is given and owns.
struct task_of_thread {
    std::string name;
    std::function<void()> work;
};

extern "C" void* run_thread(void* given)
{
    const std::unique_ptr<task_of_thread> own(static_cast<task_of_thread*>(given));
    // Naming another thread goes through a file of /proc, a fifth of the time of making a player.
    pthread_setname_np(pthread_self(), own->name.c_str());
    own->work();
    return nullptr;
}

} // namespace

void start_thread(const std::string& name, std::size_t stack_size, std::function<void()> work)
{
    const thread_attributes attributes(stack_size);
    auto given = std::make_unique<task_of_thread>(
        task_of_thread{name.substr(0, longest_name), std::move(work)});
    pthread_t thread{};
    thread_attributes::check(pthread_create(&thread, attributes.get(), run_thread, given.get()));
    static_cast<void>(given.release()); // the thread's now
}
