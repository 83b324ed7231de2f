/// \file
/// \brief The module that speaks with the session bus, loaded when it is needed.
#pragma once

#include "remote/session_bus.h"

/// Loads the module, for good: what it brings along takes a third as long to load as all the rest,
/// and no start has to wait for it. Throws `std::runtime_error` where it, or what it needs, is not there.
session_bus_server load_session_bus();
