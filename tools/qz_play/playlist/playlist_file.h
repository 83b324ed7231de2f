/// \file
/// \brief Lists of tracks in files.
#pragma once

#include <filesystem>
#include <istream>
#include <string>
#include <vector>

/// Returns whether the name is one of an M3U playlist.
bool is_playlist(const std::filesystem::path& file);

/// Returns what an M3U playlist names, one track a line. Lines that begin with "#" are comments; what is
/// not absolute is below `folder`; URIs of files are taken, too, and
/// other addresses stay as they are; lines may end as on DOS, and a byte order mark is no part of the first.
std::vector<std::string> read_playlist(std::istream& lines, const std::filesystem::path& folder);
