/// \file
/// \brief The real libraries without sound: a folder for tracks, and an output that throws away what it is
/// given as fast as it comes.
#pragma once

#include "temporary_folder.h"

#include <string>

/// A temporary folder. Making it sets up the output, for this process and for its child programs; no player
/// may have been made before.
class silent_folder
{
public:
    silent_folder();

    /// Writes a file into the folder and returns its path.
    [[nodiscard]] std::string put(const std::string& name, const std::string& content) const;

private:
    temporary_folder folder_{"qz_silence"};
};

/// A track of half a second.
std::string silent_frames();

/// Another, of another sample rate.
std::string other_silent_frames();
