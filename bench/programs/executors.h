/// \file
/// \brief The thread service and its references: each runs posted tasks on one thread.
#pragma once

#include "system/qz_system.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/smart_ptr/make_shared.hpp>

#include <uv.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// A thread service, stopped at the end of the scope.
class service_executor
{
public:
    service_executor() : service_(qz_thread_service_new("bench"))
    {
        qz_object_unref_real(qz_thread_service_to_object(service_));
    }
    ~service_executor() { qz_thread_service_stop(service_, nullptr); }
    service_executor(const service_executor&) = delete;
    service_executor& operator=(const service_executor&) = delete;

    template <typename Task>
    void post(Task task)
    {
        // As from the player, the position's path is too long for a string without memory of its own.
        qz_thread_service_exec(service_, std::move(task), __FILE__, __LINE__);
    }

    [[nodiscard]] const boost::shared_ptr<_qz_thread_service>& get() const { return service_; }

private:
    const boost::shared_ptr<_qz_thread_service> service_;
};

/// Boost.Asio: an io_context for a single thread, which still locks, so that others may post.
class asio_executor
{
public:
    asio_executor() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}
    ~asio_executor()
    {
        work_.reset();
        thread_.join();
    }
    asio_executor(const asio_executor&) = delete;
    asio_executor& operator=(const asio_executor&) = delete;

    template <typename Task>
    void post(Task task)
    {
        boost::asio::post(context_, std::move(task));
    }

    [[nodiscard]] boost::asio::io_context& get() { return context_; }

private:
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

/// libuv: a loop on one thread, woken by an async handle, and a queue, which libuv leaves to its
/// users.
class uv_executor
{
public:
    uv_executor()
    {
        uv_loop_init(&loop_);
        uv_async_init(&loop_, &wake_, [](uv_async_t* wake) {
            static_cast<uv_executor*>(wake->data)->run_waiting();
        });
        wake_.data = this;
        thread_ = std::thread([this] { uv_run(&loop_, UV_RUN_DEFAULT); });
    }
    ~uv_executor()
    {
        post([this] { uv_close(reinterpret_cast<uv_handle_t*>(&wake_), nullptr); });
        thread_.join();
        uv_loop_close(&loop_);
    }
    uv_executor(const uv_executor&) = delete;
    uv_executor& operator=(const uv_executor&) = delete;

    template <typename Task>
    void post(Task task)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            waiting_.emplace_back(std::move(task));
        }
        uv_async_send(&wake_);
    }

private:
    void run_waiting()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            running_.swap(waiting_);
        }
        for (const auto& task : running_) {
            task();
        }
        running_.clear();
    }

    uv_loop_t loop_{};
    uv_async_t wake_{};
    std::mutex mutex_;
    std::vector<std::function<void()>> waiting_;
    std::vector<std::function<void()>> running_;
    std::thread thread_;
};

/// The textbook queue: the worker swaps all waiting tasks out and runs them without the mutex.
class batch_swap_queue
{
public:
    batch_swap_queue() : thread_([this] { work(); }) {}
    ~batch_swap_queue()
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            stopped_ = true;
        }
        changed_.notify_one();
        thread_.join();
    }
    batch_swap_queue(const batch_swap_queue&) = delete;
    batch_swap_queue& operator=(const batch_swap_queue&) = delete;

    void post(std::function<void()> task)
    {
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            waiting_.push_back(std::move(task));
        }
        changed_.notify_one();
    }

private:
    void work()
    {
        std::vector<std::function<void()>> running;
        while (take_waiting(running)) {
            for (const auto& task : running) {
                task();
            }
            running.clear();
        }
    }

    bool take_waiting(std::vector<std::function<void()>>& taken)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return !waiting_.empty() || stopped_; });
        taken.swap(waiting_);
        return !taken.empty();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::function<void()>> waiting_;
    bool stopped_ = false;
    std::thread thread_;
};

/// Posts the task and nothing else.
struct task_alone {
    template <typename Task>
    static void post(const boost::shared_ptr<batch_swap_queue>& queue, Task task)
    {
        queue->post(std::move(task));
    }
};

/// Takes what qz_thread_service_exec takes, in a call that is not inlined either.
struct same_arguments {
    [[gnu::noinline]] static void exec(boost::shared_ptr<batch_swap_queue> queue,
                                       std::function<void()> task, std::string, int)
    {
        queue->post(std::move(task));
    }

    template <typename Task>
    static void post(const boost::shared_ptr<batch_swap_queue>& queue, Task task)
    {
        exec(queue, std::move(task), __FILE__, __LINE__);
    }
};

template <typename Arguments>
class batch_swap_executor
{
public:
    template <typename Task>
    void post(Task task)
    {
        Arguments::post(queue_, std::move(task));
    }

private:
    const boost::shared_ptr<batch_swap_queue> queue_ = boost::make_shared<batch_swap_queue>();
};
