#include "simulation.h"

#include "application.h"
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
    check_memory(allocations_alive() - before);
    return steps;
}

} // namespace simulation
