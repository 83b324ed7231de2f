#include "terminal/keys.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace
{

constexpr int volume_step = 5;

struct key_row {
    const char* characters; ///< Any of which asks for it.
    const char* names;
    const char* meaning;
    user_request wanted;
};

const std::array<key_row, 12>& key_table()
{
    static const std::array<key_row, 12> table{{
        {" p", "Space p", "pause, go on", request::toggle_pause{}},
        {"s", "s", "stop", request::stop{}},
        {"n>", "n >", "next track", request::next{}},
        {"b<", "b <", "previous track", request::previous{}},
        {"+=0", "+ 0 Up", "louder", request::change_volume{volume_step}},
        {"-9", "- 9 Down", "softer", request::change_volume{-volume_step}},
        {"m", "m", "mute", request::toggle_mute{}},
        {"r", "r", "repeat: track, all, off", request::cycle_loop{}},
        {"f", "f", "fade out and stop", request::fade_out{}},
        {"i", "i", "tell of the track", request::show_info{}},
        {"h?", "h ?", "this help", request::show_help{}},
        {"qQ", "q", "quit", request::quit{}},
    }};
    return table;
}

std::optional<user_request> request_of_character(long character)
{
    for (const key_row& row : key_table()) {
        const std::string_view characters = row.characters;
        const auto is_it = [&](char one) { return one == character; };
        if (std::any_of(characters.begin(), characters.end(), is_it)) {
            return row.wanted;
        }
    }
    return std::nullopt;
}

std::optional<user_request> request_of_named_key(TermKeySym key)
{
    switch (key) {
    case TERMKEY_SYM_UP:
        return request::change_volume{volume_step};
    case TERMKEY_SYM_DOWN:
        return request::change_volume{-volume_step};
    default:
        return std::nullopt;
    }
}

} // namespace

std::optional<user_request> request_of(const TermKeyKey& key)
{
    if (key.modifiers != 0) {
        return std::nullopt;
    }
    switch (key.type) {
    case TERMKEY_TYPE_UNICODE:
        return request_of_character(key.code.codepoint);
    case TERMKEY_TYPE_KEYSYM:
        return request_of_named_key(key.code.sym);
    default:
        return std::nullopt;
    }
}

std::vector<std::string> key_help()
{
    constexpr std::size_t column = 12;
    std::vector<std::string> lines;
    for (const key_row& row : key_table()) {
        std::string line = row.names;
        line.resize(column, ' ');
        lines.push_back(line + row.meaning);
    }
    return lines;
}
