/// \file
/// \brief The simulated platform library: the threads, queues, timers and objects of `qz_system.h`, each
/// step of which the scheduler decides on.
#pragma once

#include "system/qz_system.h"

#include <memory>
#include <string>

namespace simulation
{

struct platform_state;

/// The platform of one simulation. It has the system service from its beginning.
class platform
{
public:
    platform();
    ~platform();
    platform(const platform&) = delete;
    platform& operator=(const platform&) = delete;

    /// From now on the system service ends once all players' threads have ended and nothing waits.
    void end_when_idle();

    /// The player `number`, if the registry holds it.
    static boost::shared_ptr<_qz_object> held_player(int number);

private:
    std::unique_ptr<platform_state> state_;
};

/// How many objects of a kind the library under test says are alive.
long live_count(const std::string& kind);

std::string object_name(_qz_object& object);

} // namespace simulation
