// How many tasks a second go from one or several posting threads through the worker.

#include "runners.h"

#include <benchmark/benchmark.h>

#include <future>
#include <memory>

namespace
{

constexpr int posts_per_round = 10'000;

template <typename Runner>
void post_to_run(benchmark::State& state)
{
    static std::unique_ptr<Runner> runner; // shared by the posting threads
    if (state.thread_index() == 0) {
        runner = std::make_unique<Runner>();
    }
    for (auto _ : state) {
        std::promise<void> done;
        int left = posts_per_round;
        for (int i = 0; i < posts_per_round; ++i) {
            runner->post([&left, &done] {
                if (--left == 0) {
                    done.set_value();
                }
            });
        }
        done.get_future().wait();
    }
    state.SetItemsProcessed(state.iterations() * posts_per_round);
    if (state.thread_index() == 0) {
        runner.reset();
    }
}
BENCHMARK_TEMPLATE(post_to_run, running_service)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK_TEMPLATE(post_to_run, running_context)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK_TEMPLATE(post_to_run, running_loop)->UseRealTime()->Threads(1)->Threads(4);

} // namespace
