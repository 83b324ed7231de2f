// The player's clock on virtual time.
#include "qz_audio/qz_audio_clock.h"

#include "invariants.h"
#include "players.h"
#include "scheduler.h"

#include <algorithm>
#include <chrono>

using std::chrono::milliseconds;

time_point clock_now()
{
    return time_point(milliseconds(simulation::scheduler::running()->now()));
}

void clock_sleep(duration time)
{
    simulation::scheduler& schedule = *simulation::scheduler::running();
    const auto rounded = std::max(std::chrono::ceil<milliseconds>(time), milliseconds(1));
    const auto asleep = static_cast<simulation::milliseconds>(rounded.count());
    if (simulation::player* const of = simulation::observed().find(*schedule.current())) {
        check_look(*of, schedule.now(), schedule.now() + asleep);
    }
    schedule.sleep(asleep);
}
