/// \file
/// \brief The two kinds of failure that qz_play tells its user; each text is one whole sentence.
#pragma once

#include <stdexcept>

/// What a track's failure says behind its name where the player gives no answer any more.
constexpr const char* output_hangs = ": the sound does not go on; see whether the sound server, "
                                     "the device or the file's disk hangs.";

/// Nothing can be played at all.
class startup_failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// One track cannot be played; the text begins with its name.
class track_failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
