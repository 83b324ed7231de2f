/// \file
/// \brief Converts between paths and file URIs such as "file:///folder/a%20name.mp3".
#pragma once

#include <optional>
#include <string>

/// Returns the URI of the file at `path`, which may contain any bytes. A relative path is relative to the working
/// folder.
std::string file_uri(const std::string& path);

/// Returns the path of `uri`, or nothing if it is not a file URI of this machine.
std::optional<std::string> path_of_file_uri(const std::string& uri);

/// Returns whether the name is a URI, such as http://host/a.mp3, that does not name a file on this machine.
bool is_remote_uri(const std::string& name);
