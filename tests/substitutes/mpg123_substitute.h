/// \file
/// \brief A libmpg123 that decodes what the test says. Its calls stand in the call log; handles are
/// named "mh1", "mh2", ...
///
/// Planned answers (see `answer`): for `mpg123_new` the error code with which it makes no handle; for
/// `mpg123_strerror` a null text; for `mpg123_errcode` the code, which the handle keeps; for all else
/// the result. Null handles are survived as by the real library, except by `mpg123_seek`; a read
/// into a null block gives nothing, as there.
#pragma once

#include <mpg123.h>

#include <cstddef>
#include <string>
#include <vector>

namespace substitute
{

/// What one `mpg123_read` gives.
struct block {
    int result = MPG123_OK;
    std::string bytes;
    int error = MPG123_OK; ///< What the handle's last error is then.
};

/// What a path leads to. After the last block every read gives `MPG123_DONE` and nothing.
struct track {
    std::vector<block> blocks;
    long rate = 44100;
    int channels = MPG123_STEREO;
    int encoding = MPG123_ENC_SIGNED_16;
    int format_result = MPG123_OK; ///< What `mpg123_getformat` gives.
};

/// Puts a track at a path. Any other path cannot be opened.
void put_track(const std::string& path, track content);

/// How many decoder handles have been made and not deleted.
std::size_t decoders_alive();

/// No tracks, no handles.
void reset_decoders();

} // namespace substitute
