/// \file
/// \brief What each key asks for.
#pragma once

#include "session/requests.h"

#include <optional>
#include <string>
#include <vector>

#include <termkey.h>

/// Returns what the key asks for, if it means anything.
std::optional<user_request> request_of(const TermKeyKey& key);

/// Returns the lines that tell of all keys.
std::vector<std::string> key_help();
