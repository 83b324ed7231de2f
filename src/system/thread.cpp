#include "system/thread.h"

#include <pthread.h>
#include <sys/prctl.h>

#include <cstddef>
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
        check(pthread_attr_setdetachstate(&attributes_, PTHREAD_CREATE_DETACHED));
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

/// Lets the calling thread's timed waits end when asked, and not up to 50 µs later, as the kernel else may.
void wake_on_time()
{
    constexpr unsigned long least_slack = 1; // in nanoseconds
    prctl(PR_SET_TIMERSLACK, least_slack);
}

extern "C" void* work_off(void* queue)
{
    const std::unique_ptr<std::shared_ptr<task_queue>> owned(
        static_cast<std::shared_ptr<task_queue>*>(queue));
    wake_on_time();
    (*owned)->work();
    return nullptr;
}

} // namespace

void start_worker(const std::string& name, std::shared_ptr<task_queue> queue,
                  std::size_t stack_size)
{
    const thread_attributes attributes(stack_size);
    auto owned = std::make_unique<std::shared_ptr<task_queue>>(std::move(queue));
    pthread_t thread{};
    thread_attributes::check(pthread_create(&thread, attributes.get(), work_off, owned.get()));
    static_cast<void>(owned.release()); // the thread's now
    // The thread lives until its queue is stopped, which nobody can do before this returns.
    pthread_setname_np(thread, name.substr(0, longest_name).c_str());
}
