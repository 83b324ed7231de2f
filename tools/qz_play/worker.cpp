#include "worker.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>

/// Each thread may hang on a disk. If this many do, further jobs wait.
constexpr int max_threads = 8;

/// Shared by the loop's thread and the worker's threads. An abandoned thread may own it longest.
class job_queue : public std::enable_shared_from_this<job_queue>
{
public:
    struct entry {
        cancel_flag cancelled;
        std::function<void(bool can_run)> task;
    };

    void add(entry added)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.push_back(std::move(added));
        start_thread_if_needed();
        changed_.notify_all();
    }

    void drop_cancelled()
    {
        const auto is_cancelled = [](const entry& one) { return one.cancelled.is_set(); };
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.erase(std::remove_if(waiting_.begin(), waiting_.end(), is_cancelled),
                       waiting_.end());
        start_thread_if_needed();
    }

    void close()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        waiting_.clear();
        if (running_) {
            running_->set();
        }
        ++current_thread_;
        changed_.notify_all();
    }

private:
    void start_thread_if_needed()
    {
        const bool is_stuck = running_ && running_->is_set();
        if (waiting_.empty() || (has_thread_ && !is_stuck) || thread_count_ >= max_threads) {
            return;
        }
        running_.reset();
        ++current_thread_;
        ++thread_count_;
        try {
            std::thread([self = shared_from_this(), thread = current_thread_] {
                self->run_jobs(thread);
            }).detach();
            has_thread_ = true;
        } catch (const std::system_error&) {
            has_thread_ = false;
            --thread_count_;
            for (const entry& failed : std::exchange(waiting_, {})) {
                failed.task(false);
            }
        }
    }

    /// Returns when another thread has taken over the queue, or the queue is closed.
    void run_jobs(unsigned thread)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        for (;;) {
            changed_.wait(lock, [&] { return current_thread_ != thread || !waiting_.empty(); });
            if (current_thread_ != thread) {
                --thread_count_;
                start_thread_if_needed();
                return;
            }
            const entry next = std::move(waiting_.front());
            waiting_.pop_front();
            running_ = next.cancelled;
            lock.unlock();
            next.task(true);
            lock.lock();
            if (current_thread_ == thread) {
                running_.reset();
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<entry> waiting_;
    std::optional<cancel_flag> running_; ///< Of the current thread.
    bool has_thread_ = false;
    int thread_count_ = 0;        ///< Includes the abandoned threads.
    unsigned current_thread_ = 0; ///< Abandoned threads have lower numbers.
};

job& job::operator=(job&& other) noexcept
{
    job moved(std::move(other));
    std::swap(cancelled_, moved.cancelled_);
    std::swap(done_, moved.done_);
    std::swap(queue_, moved.queue_);
    return *this;
}

void job::cancel()
{
    if (!done_) {
        return;
    }
    cancelled_.set();
    done_.reset();
    if (const auto queue = queue_.lock()) {
        queue->drop_cancelled();
    }
}

worker::worker(event_loop& loop) : loop_tasks_(loop.tasks()), queue_(std::make_shared<job_queue>())
{
}

worker::~worker()
{
    queue_->close();
}

void worker::add(const cancel_flag& cancelled, std::function<void(bool can_run)> task)
{
    queue_->add({cancelled, std::move(task)});
}
