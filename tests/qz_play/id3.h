/// \file
/// \brief Tags of tracks, made by hand: no tool writes what is wrong in them.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

namespace id3
{

/// A frame of text as of version 2.3; `text` begins with the byte that tells its encoding.
inline std::string frame(const std::string& id, const std::string& text)
{
    return id + std::string(3, '\0') + static_cast<char>(text.size()) + std::string(2, '\0') + text;
}

/// A tag of less than 128 bytes.
inline std::string version_2(const std::string& frames)
{
    return std::string("ID3\3\0\0\0\0\0", 9) + static_cast<char>(frames.size()) + frames;
}

inline std::string version_1(std::string title, std::string artist)
{
    constexpr std::size_t rest = 128 - 3 - 30 - 30;
    title.resize(30, ' ');
    artist.resize(30, '\0');
    return "TAG" + std::move(title) + std::move(artist) + std::string(rest, '\0');
}

} // namespace id3
