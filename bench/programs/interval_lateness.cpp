// How long after its time each tick of a 10 ms interval begins.

#include "distribution.h"
#include "executors.h"

#include <benchmark/benchmark.h>

#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <functional>
#include <future>

namespace
{

using clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds period{10};
constexpr int ticks = 100;

/// Notes how late each tick begins, one period after the one before.
class observer
{
public:
    /// To be called at the beginning of a tick. Returns whether more are wanted.
    bool tick()
    {
        const auto now = clock::now();
        lateness_.add(now - (before_ + period));
        before_ = now;
        const bool again = --left_ > 0;
        if (!again) {
            done_.set_value();
        }
        return again;
    }

    void report(benchmark::State& state)
    {
        done_.get_future().wait();
        lateness_.report(state);
    }

private:
    clock::time_point before_ = clock::now();
    int left_ = ticks;
    distribution lateness_;
    std::promise<void> done_;
};

void service_interval(benchmark::State& state)
{
    const service_executor service;
    for (auto _ : state) {
        observer seen;
        qz_thread_service_set_interval(
            service.get(), [&seen] { return seen.tick(); }, period.count(), __FILE__, __LINE__);
        seen.report(state);
    }
}
BENCHMARK(service_interval)->Iterations(1)->UseRealTime();

void asio_timer(benchmark::State& state)
{
    asio_executor context;
    boost::asio::steady_timer timer(context.get());
    for (auto _ : state) {
        observer seen;
        std::function<void()> wait = [&] {
            timer.async_wait([&](const boost::system::error_code&) {
                timer.expires_after(period); // from the start of the tick, as the service does
                if (seen.tick()) {
                    wait();
                }
            });
        };
        context.post([&] {
            timer.expires_after(period);
            wait();
        });
        seen.report(state);
    }
}
BENCHMARK(asio_timer)->Iterations(1)->UseRealTime();

} // namespace
