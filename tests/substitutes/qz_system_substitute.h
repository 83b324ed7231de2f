/// \file
/// \brief A platform library that runs nothing by itself: tasks, ticks and system service tasks run one
/// at a time when the test says so, all on the test's own thread, in virtual time.
///
/// Each stretch of code runs for a logical thread, which the call log notes: "caller" (the test),
/// "system" (the system service), and one for each thread service, named after it ("audio", and
/// "audio 2", "audio 3" for later ones of the same name). A logical thread that is in the middle of a
/// task runs nothing else but what that task runs nested.
///
/// To be used from one thread only.
#pragma once

#include "system/qz_system.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace substitute::platform
{

/// The thread for which code runs now.
std::string current_thread();

/// Runs the oldest waiting task or due tick of `thread`. Returns false when none waits or the thread
/// is in the middle of one.
bool run_one(const std::string& thread);

/// Runs all that waits for `thread`, and what that adds to it. Returns whether any was.
bool run_all(const std::string& thread);

/// Runs all that waits for any thread, until nothing waits: each service's work in the order of their
/// making, then the system service's, and again.
void run_all();

/// How many tasks and due ticks wait for `thread`.
std::size_t waiting(const std::string& thread);

/// Lets virtual time go by. What falls due waits to be run.
void advance(std::chrono::milliseconds time);

/// From now on the system service is as fast as can be: whenever a service's task or tick has ended, at
/// any depth, all that waits for the system service runs before the service's thread goes on.
void run_system_after_each_task();

/// Runs `calls` as the thread "caller", from inside a planned action.
void as_caller(const std::function<void()>& calls);

/// On which thread a stopped service's completion is called: "system" after a reset; "" for the
/// service's own.
void call_completions_on(const std::string& thread);

/// The properties with which each new object starts; after a reset "object-destroyed", false.
std::map<std::string, boost::any>& initial_properties();

/// What is left: objects made and not destroyed, thread services among them; threads that have not
/// ended, without the system service; objects that the registry holds; the live count of a kind.
std::size_t objects();
std::size_t threads();
std::size_t registry_holds();
long live_count(const std::string& kind);

/// Whether an object's `property_mutex` is held now.
bool is_locked(_qz_object& object);

/// From now on each log entry tells whether any object's `property_mutex` was held.
void watch_locks();

/// How many tasks and ticks of one thread have been in progress at once, each inside the one before.
std::size_t deepest_nesting();

/// The texts of the exceptions that tasks, ticks and completions have thrown.
std::vector<std::string> escaped_exceptions();

/// Drops all work and forgets all that the test has set.
void reset();

} // namespace substitute::platform
