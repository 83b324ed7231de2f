#include "keymap.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace
{

constexpr char escape = '\x1b';
constexpr char bell = '\a';
constexpr int volume_step = 5;
constexpr std::size_t max_number_size = 9;

struct key_row {
    std::string_view keys; ///< Any of these characters; an arrow key is its value in `key`.
    const char* names;
    const char* meaning;
    user_command command;
};

const std::array<key_row, 15>& key_table()
{
    static const std::array<key_row, 15> table{{
        {" p", "Space p", "pause, resume", command::toggle_pause{}},
        {"s", "s", "stop", command::stop{}},
        {"n>", "n >", "next track", command::next{}},
        {"b<", "b <", "previous track", command::previous{}},
        {"", "12 Enter", "play track 12 (type # before a 9: #9 Enter)", command::jump{}},
        {"\3\4", "Left Right", "not used: the library cannot seek", command::seek{}},
        {"+=0\1", "+ 0 Up", "louder", command::change_volume{volume_step}},
        {"-9\2", "- 9 Down", "quieter", command::change_volume{-volume_step}},
        {"m", "m", "mute", command::toggle_mute{}},
        {"r", "r", "repeat: track, all, off", command::cycle_loop{}},
        {"f", "f", "fade out and stop", command::fade_out{}},
        {"i", "i", "show information about the track", command::show_info{}},
        {"l", "l", "show the tracks around the current one", command::show_list{}},
        {"h?", "h ?", "show this help", command::show_help{}},
        {"qQ", "q", "quit", command::quit{}},
    }};
    return table;
}

bool is_between(char first, char byte, char last)
{
    return first <= byte && byte <= last;
}

std::optional<user_command> jump_to(const std::string& typed)
{
    const std::size_t first = typed.find_first_of("123456789");
    if (first == std::string::npos) {
        return std::nullopt;
    }
    return command::jump{std::stoul(typed.substr(first))};
}

} // namespace

std::vector<key> key_parser::feed(std::string_view bytes)
{
    std::vector<key> keys;
    for (const char byte : bytes) {
        if (const auto complete = next(byte)) {
            keys.push_back(*complete);
        }
    }
    return keys;
}

std::optional<key> key_parser::next(char byte)
{
    const state former = state_;
    if (byte == escape) {
        state_ = state::escape;
    } else if (former == state::ground) {
        if (byte == '\r' || byte == '\n') {
            return key::enter;
        }
        return is_between(' ', byte, '~') ? std::optional(key{byte}) : std::nullopt;
    } else if (former == state::escape && (byte == '[' || byte == 'O')) {
        state_ = state::sequence;
    } else if (former == state::escape &&
               std::string_view("]PX^_").find(byte) != std::string::npos) {
        state_ = state::string;
    } else if (former == state::string) {
        state_ = byte == bell ? state::ground : state::string;
    } else if (former != state::escape && is_between(' ', byte, '?')) {
        state_ = state::parameters;
    } else {
        state_ = state::ground;
        if (former == state::sequence && is_between('A', byte, 'D')) {
            return static_cast<key>(byte - 'A' + static_cast<char>(key::up));
        }
    }
    return std::nullopt;
}

std::optional<user_command> keymap::press(key pressed)
{
    const char character = static_cast<char>(pressed);
    const bool begins = character == '#' || is_between('1', character, '8');
    if (number_.empty() ? begins : is_between('0', character, '9')) {
        number_ += number_.size() < max_number_size ? std::string(1, character) : "";
        return std::nullopt;
    }
    const std::string typed = std::exchange(number_, "");
    if (pressed == key::enter) {
        return jump_to(typed);
    }
    const auto has_key = [&](const key_row& row) {
        return row.keys.find(character) != std::string_view::npos;
    };
    const auto* row = std::find_if(key_table().begin(), key_table().end(), has_key);
    return row == key_table().end() ? std::nullopt : std::optional(row->command);
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
