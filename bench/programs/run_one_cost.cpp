// What it costs to ask for one task while none is due, as the play loop does between two blocks.

#include "executors.h"

#include <benchmark/benchmark.h>

#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <future>

namespace
{

/// The part of a call that the interface dictates: a handle by value.
void copy_of_the_handle(benchmark::State& state)
{
    const service_executor service;
    for (auto _ : state) {
        boost::shared_ptr<_qz_thread_service> handle = service.get();
        benchmark::DoNotOptimize(handle);
    }
}
BENCHMARK(copy_of_the_handle);

/// Asks from inside a task.
void ask(benchmark::State& state, service_executor& service)
{
    std::promise<void> done;
    service.post([&] {
        for (auto _ : state) {
            benchmark::DoNotOptimize(qz_thread_service_run_one_only(service.get()));
        }
        done.set_value();
    });
    done.get_future().wait();
}

void service_idle(benchmark::State& state)
{
    service_executor service;
    ask(state, service);
}
BENCHMARK(service_idle);

void service_interval_armed(benchmark::State& state)
{
    constexpr unsigned long an_hour = 3'600'000;
    service_executor service;
    qz_thread_service_set_interval(
        service.get(), [] { return true; }, an_hour, __FILE__, __LINE__);
    ask(state, service);
}
BENCHMARK(service_interval_armed);

void asio_idle(benchmark::State& state)
{
    boost::asio::io_context context{1};
    const auto work = boost::asio::make_work_guard(context);
    for (auto _ : state) {
        benchmark::DoNotOptimize(context.poll_one());
    }
}
BENCHMARK(asio_idle);

void asio_timer_armed(benchmark::State& state)
{
    boost::asio::io_context context{1};
    boost::asio::steady_timer timer(context, std::chrono::hours(1));
    timer.async_wait([](const boost::system::error_code&) {});
    for (auto _ : state) {
        benchmark::DoNotOptimize(context.poll_one());
    }
}
BENCHMARK(asio_timer_armed);

} // namespace
