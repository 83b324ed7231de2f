#include "playlist/playlist_file.h"

#include "playlist/file_suffix.h"
#include "playlist/file_uri.h"

namespace fs = std::filesystem;

namespace
{

constexpr auto byte_order_mark = "\xef\xbb\xbf";
constexpr auto blanks = " \t\r";

std::string without_blanks_around(const std::string& line)
{
    const std::size_t start = line.find_first_not_of(blanks);
    return start == std::string::npos
               ? ""
               : line.substr(start, line.find_last_not_of(blanks) + 1 - start);
}

} // namespace

bool is_playlist(const fs::path& file)
{
    return has_suffix(file, {".m3u", ".m3u8"});
}

std::vector<std::string> read_playlist(std::istream& lines, const fs::path& folder)
{
    std::vector<std::string> tracks;
    std::string line;
    for (bool first = true; std::getline(lines, line); first = false) {
        if (first && line.rfind(byte_order_mark, 0) == 0) {
            line.erase(0, std::char_traits<char>::length(byte_order_mark));
        }
        const std::string name = without_blanks_around(line);
        if (!name.empty() && name.front() != '#') {
            const fs::path file = path_of_file_uri(name).value_or(name);
            tracks.push_back(is_address(name) ? name : (folder / file).string());
        }
    }
    return tracks;
}
