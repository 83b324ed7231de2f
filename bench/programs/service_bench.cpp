// The thread service beside Boost.Asio doing the same in the same run.

#include "system/qz_system.h"

#include <benchmark/benchmark.h>

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <future>
#include <thread>

namespace
{

constexpr int posts_per_round = 10'000;

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
        qz_thread_service_exec(service_, task, __FILE__, __LINE__);
    }

    [[nodiscard]] boost::shared_ptr<_qz_thread_service> get() const { return service_; }

private:
    boost::shared_ptr<_qz_thread_service> service_;
};

/// Boost.Asio's counterpart: an io_context with one thread.
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
        boost::asio::post(context_, task);
    }

private:
    boost::asio::io_context context_;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_;
    std::thread thread_;
};

template <typename Runner>
void post_to_run(benchmark::State& state)
{
    Runner runner;
    for (auto _ : state) {
        std::promise<void> done;
        int left = posts_per_round;
        for (int i = 0; i < posts_per_round; ++i) {
            runner.post([&left, &done] {
                if (--left == 0) {
                    done.set_value();
                }
            });
        }
        done.get_future().wait();
    }
    state.SetItemsProcessed(state.iterations() * posts_per_round);
}
BENCHMARK_TEMPLATE(post_to_run, running_service)->UseRealTime();
BENCHMARK_TEMPLATE(post_to_run, running_context)->UseRealTime();

/// Runs `work` inside a task of a service, as the play loop does.
template <typename Work>
void inside_a_task(running_service& service, Work work)
{
    std::promise<void> done;
    service.post([&done, &work] {
        work();
        done.set_value();
    });
    done.get_future().wait();
}

void run_one_only_idle(benchmark::State& state)
{
    running_service service;
    inside_a_task(service, [&state, &service] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(qz_thread_service_run_one_only(service.get()));
        }
    });
}
BENCHMARK(run_one_only_idle);

void run_one_only_interval_armed(benchmark::State& state)
{
    constexpr unsigned long an_hour = 3'600'000;
    running_service service;
    qz_thread_service_set_interval(
        service.get(), [] { return true; }, an_hour, __FILE__, __LINE__);
    inside_a_task(service, [&state, &service] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(qz_thread_service_run_one_only(service.get()));
        }
    });
}
BENCHMARK(run_one_only_interval_armed);

void asio_poll_one_idle(benchmark::State& state)
{
    boost::asio::io_context context;
    const auto work = boost::asio::make_work_guard(context);
    for (auto _ : state) {
        benchmark::DoNotOptimize(context.poll_one());
    }
}
BENCHMARK(asio_poll_one_idle);

void asio_poll_one_timer_armed(benchmark::State& state)
{
    boost::asio::io_context context;
    boost::asio::steady_timer timer(context, std::chrono::hours(1));
    timer.async_wait([](const boost::system::error_code&) {});
    for (auto _ : state) {
        benchmark::DoNotOptimize(context.poll_one());
    }
}
BENCHMARK(asio_poll_one_timer_armed);

} // namespace
