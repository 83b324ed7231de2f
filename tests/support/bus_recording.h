/// \file
/// \brief What goes over a session bus.
#pragma once

#include "program.h"

#include <string>

/// Records what fits `match`, from the moment on when this is there.
class bus_recording
{
public:
    /// `settings` name the bus.
    bus_recording(const std::string& match, const program_settings& settings);

    /// Waits until `words` have been recorded; returns whether they have.
    bool comes(const std::string& words);

    /// Returns all that has been sent until now.
    const std::string& text();

private:
    program_settings settings_;
    program monitor_;
};
