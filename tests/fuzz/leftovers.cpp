#include "leftovers.h"

#include "call_log.h"
#include "out123_substitute.h"
#include "qz_system_substitute.h"

#include <cstdlib>
#include <iostream>

namespace platform = substitute::platform;

namespace
{

void require_count(std::size_t expected, std::size_t found, const std::string& what)
{
    require(found == expected, std::to_string(found) + " " + what + " left");
}

} // namespace

void require(bool condition, const std::string& what)
{
    if (!condition) {
        std::cerr << what << std::endl;
        std::abort();
    }
}

void reset_substitutes()
{
    platform::reset();
    substitute::reset_calls();
    substitute::reset_outputs();
}

void require_nothing_left(std::size_t lost_outputs)
{
    require_count(0, platform::objects(), "objects");
    require_count(0, platform::threads(), "threads");
    require_count(0, platform::registry_holds(), "registry holds");
    require(platform::live_count("[qz_audio]") == 0, "the live count is not 0");
    require_count(lost_outputs, substitute::outputs_alive(), "outputs");
    for (const auto& each : platform::escaped_exceptions()) {
        require(false, "a task threw: " + each);
    }
    for (const auto& each : substitute::violations()) {
        require(false, each);
    }
}
