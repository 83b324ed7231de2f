/// \file
/// \brief The two kinds of failure that qz_play tells its user; each text is one whole sentence.
#pragma once

#include <stdexcept>

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
