// The reference of idle_players: what an application writes by hand, a thread that works off a queue.
//
// usage: idle_threads COUNT

#include "idle_run.h"

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace
{

class worker
{
public:
    worker() : thread_([this] { work(); }) {}
    ~worker() { thread_.join(); }
    worker(const worker&) = delete;
    worker& operator=(const worker&) = delete;

    /// An empty task ends the thread.
    void post(std::function<void()> task)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        tasks_.push_back(std::move(task));
        posted_.notify_one();
    }

private:
    void work()
    {
        while (const std::function<void()> task = next()) {
            task();
        }
    }

    std::function<void()> next()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        posted_.wait(lock, [this] { return !tasks_.empty(); });
        std::function<void()> task = std::move(tasks_.front());
        tasks_.pop_front();
        return task;
    }

    std::mutex mutex_;
    std::condition_variable posted_;
    std::deque<std::function<void()>> tasks_;
    std::thread thread_; // last: it uses the others
};

class idle_threads
{
public:
    explicit idle_threads(int count)
    {
        for (int i = 0; i < count; ++i) {
            workers_.push_back(std::make_unique<worker>());
        }
    }

    void end()
    {
        for (const auto& each : workers_) {
            each->post(nullptr);
        }
        workers_.clear();
        constexpr unsigned long this_one = 1;
        wait_until([] { return thread_count() == this_one; });
    }

private:
    std::vector<std::unique_ptr<worker>> workers_;
};

} // namespace

int main(int argc, char** argv)
{
    return run_idle<idle_threads>(argc, argv);
}
