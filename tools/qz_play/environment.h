/// \file
/// \brief The environment variables.
#pragma once

#include <optional>
#include <string>

std::optional<std::string> environment_variable(const std::string& name);

/// To be called while no player exists: its thread reads the environment.
void set_environment_variable(const std::string& name, const std::string& value);
