// How long after a post the first instruction of the task runs on another core, while the worker sleeps.

#include "distribution.h"
#include "executors.h"

#include <benchmark/benchmark.h>

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

namespace
{

using clock = std::chrono::steady_clock;

constexpr int wake_ups = 200;
constexpr std::chrono::milliseconds time_to_fall_asleep{1};

void pin_to(std::size_t core)
{
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    pthread_setaffinity_np(pthread_self(), sizeof(cores), &cores);
}

template <typename Executor>
void wake_up_latency(benchmark::State& state)
{
    if (std::thread::hardware_concurrency() < 2) {
        state.SkipWithError("needs two cores");
        return;
    }
    pin_to(0);
    Executor executor;
    executor.post([] { pin_to(1); });

    distribution times;
    for (auto _ : state) {
        std::this_thread::sleep_for(time_to_fall_asleep);
        std::promise<clock::time_point> began;
        auto beginning = began.get_future();
        const auto posted = clock::now();
        executor.post([&began] { began.set_value(clock::now()); });
        times.add(beginning.get() - posted);
    }
    times.report(state);
}
BENCHMARK_TEMPLATE(wake_up_latency, service_executor)->Iterations(wake_ups)->UseRealTime();
BENCHMARK_TEMPLATE(wake_up_latency, asio_executor)->Iterations(wake_ups)->UseRealTime();
BENCHMARK_TEMPLATE(wake_up_latency, uv_executor)->Iterations(wake_ups)->UseRealTime();

} // namespace
