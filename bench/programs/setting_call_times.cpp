// The calls that act on the caller's thread, compared with settings kept by hand: one thread, eight threads on
// one player, and eight threads on a player each.

#include "setting_calls.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

namespace
{

constexpr int many = 8;

/// Has each thread repeat `work`, on the subject of its own that `of_thread` gives.
template <typename Work, typename OfThread>
void repeat(benchmark::State& state, Work work, OfThread of_thread)
{
    auto& subject = of_thread(static_cast<std::size_t>(state.thread_index()));
    for (auto _ : state) {
        work(subject);
    }
}

/// Registers `work`, on what `subjects` hold, in the three ways.
template <typename Work, typename Subjects>
void add(const std::string& name, Work work, Subjects& subjects)
{
    const auto first = [&subjects](std::size_t) -> auto&
    {
        return *subjects.front();
    };
    const auto own = [&subjects](std::size_t thread) -> auto&
    {
        return *subjects.at(thread);
    };
    const auto add_way = [&](const std::string& way, int threads, auto of_thread) {
        benchmark::RegisterBenchmark(
            (name + '/' + way).c_str(),
            [work, of_thread](benchmark::State& state) { repeat(state, work, of_thread); })
            ->Threads(threads)
            ->UseRealTime();
    };
    add_way("alone", 1, first);
    add_way("shared", many, first);
    add_way("own", many, own);
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::unique_ptr<qz_audio_ptr>> players;
    std::vector<std::unique_ptr<settings_by_hand>> settings;
    for (int i = 0; i < many; ++i) {
        players.push_back(std::make_unique<qz_audio_ptr>(qz_audio_new()));
        settings.push_back(new_settings_by_hand());
    }
    for (const setting_call& call : setting_calls) {
        add(std::string(call.name) + "/ours", call.ours, players);
        add(std::string(call.name) + "/by_hand", call.by_hand, settings);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    for (const auto& player : players) {
        qz_audio_destroy(*player, __FILE__, __LINE__);
    }
    return 0;
}
