#include "failure.h"

#include <unistd.h>

#include <cstdio>

namespace simulation
{

namespace
{

finding* place_of_finding = nullptr;

} // namespace

void write_findings_to(finding& place)
{
    place_of_finding = &place;
}

void fail(const char* invariant, const std::string& text)
{
    finding& found = *place_of_finding;
    std::snprintf(found.invariant, sizeof found.invariant, "%s", invariant);
    std::snprintf(found.text, sizeof found.text, "%s", text.c_str());
    std::fflush(nullptr);
    _exit(exit_with_finding);
}

} // namespace simulation
