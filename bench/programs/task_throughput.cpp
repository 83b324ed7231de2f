// How many tasks a second go from one or several posting threads through the worker.

#include "executors.h"

#include <benchmark/benchmark.h>

#include <future>
#include <memory>

namespace
{

constexpr int posts_per_round = 10'000;

template <typename Executor>
void task_throughput(benchmark::State& state)
{
    static std::unique_ptr<Executor> executor; // shared by the posting threads
    if (state.thread_index() == 0) {
        executor = std::make_unique<Executor>();
    }
    for (auto _ : state) {
        std::promise<void> done;
        int left = posts_per_round;
        for (int i = 0; i < posts_per_round; ++i) {
            executor->post([&left, &done] {
                if (--left == 0) {
                    done.set_value();
                }
            });
        }
        done.get_future().wait();
    }
    state.SetItemsProcessed(state.iterations() * posts_per_round);
    if (state.thread_index() == 0) {
        executor.reset();
    }
}
BENCHMARK_TEMPLATE(task_throughput, service_executor)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK_TEMPLATE(task_throughput, asio_executor)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK_TEMPLATE(task_throughput, uv_executor)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK_TEMPLATE(task_throughput, batch_swap_executor<task_alone>)
    ->UseRealTime()
    ->Threads(1)
    ->Threads(4);
BENCHMARK_TEMPLATE(task_throughput, batch_swap_executor<same_arguments>)
    ->UseRealTime()
    ->Threads(1)
    ->Threads(4);

} // namespace
