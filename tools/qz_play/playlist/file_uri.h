/// \file
/// \brief Files as other programs name them: "file:///folder/a%20name.mp3".
#pragma once

#include <optional>
#include <string>

/// Returns the URI of the file at `path`, whatever bytes the path holds; a relative one counts from the
/// working folder.
std::string file_uri(const std::string& path);

/// Returns the path that `uri` stands for; nothing when it is no file of this machine.
std::optional<std::string> path_of_file_uri(const std::string& uri);

/// Returns whether the name is the address of what is no file of this machine, as http://host/a.mp3.
bool is_address(const std::string& name);
