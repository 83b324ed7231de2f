#include "playlist/collect.h"

#include "playlist/file_suffix.h"
#include "playlist/file_uri.h"
#include "playlist/playlist_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace
{

using strings = std::vector<std::string>;

bool is_track(const fs::directory_entry& entry)
{
    std::error_code ignored;
    return has_suffix(entry.path(), {".mp3", ".mp2", ".mp1", ".mpga"}) &&
           !entry.is_directory(ignored);
}

/// Folders that links lead to are left out: they may lead round and round.
bool is_folder(const fs::directory_entry& entry)
{
    std::error_code ignored;
    return entry.is_directory(ignored) && !entry.is_symlink(ignored);
}

/// Adds what is in the folder itself. One that cannot be read to its end is a track, too: it fails in its turn.
void look_into(const fs::path& folder, strings& tracks, strings& folders)
{
    std::error_code error;
    fs::directory_iterator entry(folder, fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        if (is_track(*entry)) {
            tracks.push_back(entry->path());
        } else if (is_folder(*entry)) {
            folders.push_back(entry->path());
        }
    }
    if (error) {
        tracks.push_back(folder);
    }
}

strings tracks_below(const std::string& folder)
{
    strings tracks;
    strings folders{folder};
    while (!folders.empty()) {
        const std::string next = std::move(folders.back());
        folders.pop_back();
        look_into(next, tracks, folders);
    }
    std::sort(tracks.begin(), tracks.end());
    return tracks.empty() ? strings{folder} : tracks;
}

strings tracks_of_file_or_folder(const std::string& name)
{
    std::error_code ignored;
    return fs::is_directory(name, ignored) ? tracks_below(name) : strings{name};
}

void append(strings& all, const strings& more)
{
    all.insert(all.end(), more.begin(), more.end());
}

/// A list that it names stands for itself: lists may lead round and round, too.
strings tracks_of_list(std::istream& lines, const fs::path& folder)
{
    strings tracks;
    for (const std::string& name : read_playlist(lines, folder)) {
        append(tracks, tracks_of_file_or_folder(name));
    }
    return tracks;
}

strings tracks_of_playlist(const fs::path& file)
{
    std::ifstream lines(file);
    return lines ? tracks_of_list(lines, file.parent_path()) : strings{file};
}

strings tracks_of(const std::string& name, std::istream& input)
{
    std::error_code ignored;
    if (name == list_on_standard_input) {
        return tracks_of_list(input, "");
    }
    return is_playlist(name) && !fs::is_directory(name, ignored) ? tracks_of_playlist(name)
                                                                 : tracks_of_file_or_folder(name);
}

} // namespace

std::vector<std::string> collect_tracks(const std::vector<std::string>& names, std::istream& input)
{
    strings tracks;
    for (const std::string& name : names) {
        append(tracks, tracks_of(path_of_file_uri(name).value_or(name), input));
    }
    return tracks;
}
