/// \file
/// \brief The connection to the session bus: what the module session_bus.so has to offer.
#pragma once

#include "remote/bulletin.h"
#include "session/events.h"

#include <memory>

/// Joins the bus, shows there what `news` tells and pushes what is asked for, until the news are closed or
/// the bus is gone; then it leaves. Throws `sdbus::Error` where there is no bus, or no more.
extern "C" __attribute__((visibility("default"))) void
qz_play_serve_session_bus(const std::shared_ptr<event_queue>& requests, bulletin& news);

using session_bus_server = decltype(&qz_play_serve_session_bus);
