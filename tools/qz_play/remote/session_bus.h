/// \file
/// \brief The connection to the session bus.
#pragma once

#include "remote/bulletin.h"
#include "session/events.h"

#include <memory>

/// Joins the bus, shows there what `news` tells and pushes what is asked for, until the news are closed or
/// the bus is gone; then it leaves. Throws `sdbus::Error` where there is no bus, or no more.
void serve_session_bus(const std::shared_ptr<event_queue>& requests, bulletin& news);
