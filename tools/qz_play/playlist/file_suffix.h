/// \file
/// \brief Kinds of files, by their names.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Returns whether the file's name ends with one of `suffixes`, which are in lower case, in any case.
bool has_suffix(const std::filesystem::path& file, const std::vector<std::string>& suffixes);
