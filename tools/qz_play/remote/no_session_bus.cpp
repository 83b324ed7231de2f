// Stands in for session_bus.cpp where qz_play is built without D-Bus.

#include "remote/session_bus.h"

void serve_session_bus(const std::shared_ptr<event_queue>& /*requests*/, bulletin& /*news*/) {}
