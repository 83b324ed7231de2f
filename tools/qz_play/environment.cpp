#include "environment.h"

#include <cstdlib>

std::optional<std::string> environment_variable(const std::string& name)
{
    const char* value = std::getenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

void set_environment_variable(const std::string& name, const std::string& value)
{
    setenv(name.c_str(), value.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}
