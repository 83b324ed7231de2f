/// \file
/// \brief The locks of the library under test, taken over from the threads library: `pthread_mutex_lock`
/// and `pthread_mutex_unlock` are defined here for the whole program.
#pragma once

#include <pthread.h>

namespace simulation
{

bool is_locked(const pthread_mutex_t& mutex);

/// The library's mutex of the output-module path, which is found out by asking for the path.
const pthread_mutex_t* module_path_mutex();

} // namespace simulation
