// What a player costs its application when nothing sounds.

#include "qz_audio/qz_audio.h"

#include <benchmark/benchmark.h>

namespace
{

void create_and_destroy(benchmark::State& state)
{
    for (auto _ : state) {
        const qz_audio_ptr player = qz_audio_new();
        qz_audio_destroy(player, __FILE__, __LINE__);
    }
}
BENCHMARK(create_and_destroy)->UseRealTime();

void query_status(benchmark::State& state)
{
    const qz_audio_ptr player = qz_audio_new();
    for (auto _ : state) {
        benchmark::DoNotOptimize(qz_audio_get_playback_status(player));
    }
    qz_audio_destroy(player, __FILE__, __LINE__);
}
BENCHMARK(query_status);

} // namespace
