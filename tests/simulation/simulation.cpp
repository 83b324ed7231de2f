#include "simulation.h"

#include "application.h"
#include "failure.h"
#include "invariants.h"
#include "memory.h"
#include "moods.h"
#include "mutexes.h"
#include "platform.h"
#include "scheduler.h"

namespace simulation
{

namespace
{

void memory_is_freed(long before)
{
    if (allocations_alive() != before) {
        fail("all memory is freed at the end",
             std::to_string(allocations_alive() - before) + " allocations are left");
    }
}

std::uint64_t run(const programme& to_do, bool trace)
{
    moods moods_drawn(to_do.seed);
    set_neighbours(&moods_drawn);
    scheduler schedule(to_do.schedule, trace);
    platform below;
    application above(to_do, schedule, below);
    above.start();
    schedule.run();
    check_end();
    return schedule.steps();
}

} // namespace

std::uint64_t simulate(const programme& to_do, bool trace)
{
    module_path_mutex();
    qz_audio_set_bin_path("./bin/");
    observed() = {};
    const long before = allocations_alive();
    const std::uint64_t steps = run(to_do, trace);
    observed() = {};
    memory_is_freed(before);
    return steps;
}

} // namespace simulation
