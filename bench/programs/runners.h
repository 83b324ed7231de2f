/// \file
/// \brief The thread service and what others would take in its place: each runs posted tasks on one thread.
#pragma once

#include "system/qz_system.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

#include <uv.h>

#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// A thread service, stopped at the end of the scope.
class running_service
{
public:
    running_service() : service_(qz_thread_service_new("bench"))
    {
        qz_object_unref_real(qz_thread_service_to_object(service_));
    }
    ~running_service() { qz_thread_service_stop(service_, nullptr); }
    running_service(const running_service&) = delete;
    running_service& operator=(const running_service&) = delete;

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

/// Boost.Asio: an io_context told that it has but one thread, which still locks, so that others may post.
class running_context
{
public:
    running_context() : work_(context_.get_executor()), thread_([this] { context_.run(); }) {}
    ~running_context()
    {
        work_.reset();
        thread_.join();
    }
    running_context(const running_context&) = delete;
    running_context& operator=(const running_context&) = delete;

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

/// libuv: a loop on one thread, woken by an async handle, and a queue beside it, which libuv leaves to its
/// users.
class running_loop
{
public:
    running_loop()
    {
        uv_loop_init(&loop_);
        uv_async_init(&loop_, &wake_, [](uv_async_t* wake) {
            static_cast<running_loop*>(wake->data)->run_waiting();
        });
        wake_.data = this;
        thread_ = std::thread([this] { uv_run(&loop_, UV_RUN_DEFAULT); });
    }
    ~running_loop()
    {
        post([this] { uv_close(reinterpret_cast<uv_handle_t*>(&wake_), nullptr); });
        thread_.join();
        uv_loop_close(&loop_);
    }
    running_loop(const running_loop&) = delete;
    running_loop& operator=(const running_loop&) = delete;

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
