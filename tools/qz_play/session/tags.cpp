#include "session/tags.h"

#include <mpg123.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace
{

/// Keeps UTF-8 and takes all else as the Latin letters that it mostly is.
std::string to_utf8(const std::string& text)
{
    const std::unique_ptr<char, void (*)(void*)> utf8(mpg123_icy2utf8(text.c_str()), std::free);
    return utf8 ? std::string(utf8.get()) : std::string();
}

/// Version 2 is UTF-8 by now, if the file has not lied about its encoding.
std::string text_of(const mpg123_string* field)
{
    return field != nullptr && field->fill > 1 ? to_utf8(field->p) : std::string();
}

/// Version 1 has fields of a fixed size, filled up with zeros or blanks.
template <std::size_t Size>
std::string text_of(const char (&field)[Size])
{
    const std::string_view whole(field, Size);
    const std::string_view text = whole.substr(0, whole.find('\0'));
    return to_utf8(std::string(text.substr(0, text.find_last_not_of(' ') + 1)));
}

template <class Version>
tags tags_of(const Version& version)
{
    return {text_of(version.title), text_of(version.artist), text_of(version.album)};
}

void fill_gap(std::string& text, const std::string& other)
{
    if (text.empty()) {
        text = other;
    }
}

} // namespace

tags read_tags(mpg123_handle_struct* decoder)
{
    mpg123_id3v1* version_1 = nullptr;
    mpg123_id3v2* version_2 = nullptr;
    mpg123_id3(decoder, &version_1, &version_2);
    tags told = version_2 != nullptr ? tags_of(*version_2) : tags{};
    if (version_1 != nullptr) {
        const tags older = tags_of(*version_1);
        fill_gap(told.title, older.title);
        fill_gap(told.artist, older.artist);
        fill_gap(told.album, older.album);
    }
    return told;
}
