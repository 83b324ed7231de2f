/// \file
/// \brief What a file says about itself.
#pragma once

#include <string>

struct mpg123_handle_struct;

/// In UTF-8; what the file does not tell is empty.
struct tags {
    std::string title;
    std::string artist;
    std::string album;
};

/// Returns the tags of the track that `decoder` has begun to read: ID3 version 2, and version 1 for what
/// that leaves open.
tags read_tags(mpg123_handle_struct* decoder);
