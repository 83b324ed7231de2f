/// \file
/// \brief How a simulation ends that has shown a defect.
#pragma once

#include <string>

namespace simulation
{

/// What a simulation has shown. Plain memory, since it is written by one process and read by another.
struct finding {
    char invariant[128];
    char text[512];
};

/// Has findings written to `place` from now on.
void write_findings_to(finding& place);

/// Ends the process: `invariant` does not hold. Nothing that stands on a stack is unwound.
[[noreturn]] void fail(const char* invariant, const std::string& text);

/// The exit status of such a process.
constexpr int exit_with_finding = 3;

} // namespace simulation
