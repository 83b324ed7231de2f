/// \file
/// \brief Runs work that may block: reading lists, inspecting files, measuring lengths.
#pragma once

#include "event_loop.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

/// Shows whether a job is cancelled. Long jobs check it repeatedly.
class cancel_flag
{
public:
    [[nodiscard]] bool is_set() const { return *flag_; }
    void set() { *flag_ = true; }

private:
    std::shared_ptr<std::atomic<bool>> flag_ = std::make_shared<std::atomic<bool>>(false);
};

class job_queue;

/// A handle to a job. Its destructor cancels the job, and the result is discarded.
class job
{
public:
    job() = default;
    ~job() { cancel(); }
    job(job&& other) noexcept = default;
    job& operator=(job&& other) noexcept;

    void cancel();

private:
    friend class worker;

    cancel_flag cancelled_;
    std::shared_ptr<void>
        done_; ///< The only owner, so that it is never destroyed on another thread.
    std::weak_ptr<job_queue> queue_;
};

/// Runs jobs one after another on one thread. Use it on the loop's thread only.
///
/// If a cancelled job still runs, for example because a disk hangs, and another job waits, the cancelled job is
/// abandoned: the next job runs on a new thread. The destructor abandons the running job and joins no thread.
class worker
{
public:
    explicit worker(event_loop& loop);
    ~worker();
    worker(const worker&) = delete;
    worker& operator=(const worker&) = delete;

    /// Calls `work(const cancel_flag&)` on the thread, and then `done` with its result on the loop, unless the job is
    /// cancelled. If no thread can be started, or `work` throws, the result is default-constructed: that value should
    /// mean a failure. `work` and the result may be destroyed on any thread, so they must not own objects that belong
    /// to the loop's thread.
    template <class Work, class Done>
    [[nodiscard]] job run(Work work, Done done);

private:
    void add(const cancel_flag& cancelled, std::function<void(bool can_run)> task);

    const std::shared_ptr<task_queue> loop_tasks_;
    const std::shared_ptr<job_queue> queue_;
};

template <class Work, class Done>
job worker::run(Work work, Done done)
{
    const auto kept_done = std::make_shared<Done>(std::move(done));
    job started;
    started.done_ = kept_done;
    started.queue_ = queue_;
    const std::weak_ptr<Done> weak_done = kept_done;
    add(started.cancelled_, [work = std::move(work), weak_done, tasks = loop_tasks_,
                             cancelled = started.cancelled_](bool can_run) mutable {
        std::invoke_result_t<Work&, const cancel_flag&> result{};
        try {
            if (can_run) {
                result = work(cancelled);
            }
        } catch (const std::exception&) {
            // The result stays default-constructed.
        }
        tasks->post([weak_done, result = std::move(result)]() mutable {
            if (const auto wanted = weak_done.lock()) {
                (*wanted)(std::move(result));
            }
        });
    });
    return started;
}
