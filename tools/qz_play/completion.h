/// \file
/// \brief What shells know of the command line.
#pragma once

#include <string>

namespace CLI
{
class App;
}

/// Returns the script with which bash, or zsh, completes the options of `app`.
std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);
