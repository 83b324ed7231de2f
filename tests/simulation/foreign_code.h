/// \file
/// \brief The list of places where the library holds a lock while code of others runs.
#pragma once

namespace simulation
{

struct thread;

/// To be called where code of others begins: a function of a neighbour, a callback, a copy constructor
/// or a destructor of what a callback has captured. Fails when the thread holds a lock and the list
/// below does not have the place.
void check_no_lock_beyond_list(const thread& self, const char* foreign_code);

} // namespace simulation
