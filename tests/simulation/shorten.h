/// \file
/// \brief Makes a programme that shows a defect as short as can be.
#pragma once

#include "apart.h"

namespace simulation
{

/// Leaves out of the programme what the defect does not need: commands, whose neighbours stay as they
/// are, while the schedule may become another one.
defect shorten(const defect& found);

} // namespace simulation
