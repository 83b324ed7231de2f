/// \file
/// \brief What the handles of both simulated sound libraries have in common.
#pragma once

#include <string>

namespace simulation
{

struct thread;

struct sound_handle {
    std::string name;
    int player = 0; ///< That has made it.
    int error = 0;  ///< Its last.
    bool alive = true;
    bool replaced = false; ///< By a second open: nobody will ever close it.
    const thread* user = nullptr;
};

} // namespace simulation
