/// \file
/// \brief The modules that libout123 plays through.
#pragma once

#include <filesystem>
#include <string>

/// Makes a folder with nothing in it but a link to this module, such as "alsa": MPG123_MODDIR may name
/// it, and the module is the only output then. Where the folder is there already, the link is added.
void link_output_module(const std::filesystem::path& folder, const std::string& module);
