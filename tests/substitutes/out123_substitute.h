/// \file
/// \brief A libout123 that keeps what it is given to play. Its calls stand in the call log; handles are
/// named "ao1", "ao2", ...
///
/// Planned answers (see `answer`): for `out123_new` any answer makes no handle; for `out123_strerror` a
/// null text; for `out123_errcode` the code, which the handle keeps; for all else the result. Null
/// handles are survived as by the real library.
#pragma once

#include <out123.h>

#include <cstddef>
#include <string>

namespace substitute
{

/// All that has been played since the last reset, by all outputs.
std::string played();

/// How many output handles have been made and not deleted.
std::size_t outputs_alive();

/// Nothing played, no handles.
void reset_outputs();

} // namespace substitute
