#include "track_finder.h"

#include "file_uri.h"
#include "media_info.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <initializer_list>
#include <set>
#include <sstream>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

using strings = std::vector<std::string>;

bool has_suffix(const fs::path& file, std::initializer_list<const char*> suffixes)
{
    const std::string suffix = file.extension();
    return std::any_of(suffixes.begin(), suffixes.end(),
                       [&suffix](const char* one) { return strcasecmp(suffix.c_str(), one) == 0; });
}

/// Excludes the files that macOS creates for extended attributes: "._" and the track's name.
bool is_track(const fs::directory_entry& entry)
{
    return has_suffix(entry.path(), {".mp3", ".mp2", ".mp1", ".mpga"}) &&
           entry.path().filename().string().rfind("._", 0) != 0;
}

/// The tracks below one folder. Links are followed last, so that a folder is found under its own name first.
class folder_tree
{
public:
    folder_tree(const std::string& root, const cancel_flag& cancelled) : folders_{root}
    {
        while ((!folders_.empty() || !links_.empty()) && !cancelled.is_set()) {
            auto& nearest = folders_.empty() ? links_ : folders_;
            read(nearest.extract(nearest.begin()).value());
        }
    }

    [[nodiscard]] const std::set<std::string>& tracks() const { return tracks_; }

private:
    /// A folder that cannot be read completely becomes a track, so that the error is reported when it is played.
    void read(const std::string& folder)
    {
        if (!is_new(folder)) {
            return;
        }
        std::error_code error;
        fs::directory_iterator entry(folder, error);
        for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
            add(*entry);
        }
        if (error) {
            tracks_.insert(folder);
        }
    }

    void add(const fs::directory_entry& entry)
    {
        std::error_code ignored;
        if (entry.is_directory(ignored)) {
            (entry.is_symlink(ignored) ? links_ : folders_).insert(entry.path());
        } else if (is_track(entry)) {
            tracks_.insert(entry.path());
        }
    }

    bool is_new(const std::string& folder)
    {
        struct stat status {
        };
        return stat(folder.c_str(), &status) != 0 ||
               visited_.emplace(status.st_dev, status.st_ino).second;
    }

    std::set<std::string> folders_; ///< Still to be read, like `links_`.
    std::set<std::string> links_;
    std::set<std::string> tracks_;
    std::set<std::pair<dev_t, ino_t>> visited_;
};

/// Returns whether the text is binary data, such as a track: it contains a zero at or after `from`, or starts with an
/// MPEG frame header.
bool is_binary(const std::string& text, std::size_t from)
{
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    return text.find('\0', from) != std::string::npos ||
           (text.size() > 1 && byte(0) == 0xff && byte(1) >= 0xe0);
}

/// Appends the file's contents to `text`. Returns an error message, or an empty text.
std::string read_list(int file, const cancel_flag& cancelled, std::string& text)
{
    constexpr std::size_t max_size = std::size_t{64} << 20U;
    std::array<char, 65536> chunk{};
    while (const auto size = cancelled.is_set() ? 0 : read(file, chunk.data(), chunk.size())) {
        if (size < 0) {
            return "cannot be read (" + std::generic_category().message(errno) + ")";
        }
        const std::size_t old_size = text.size();
        text.append(chunk.data(), static_cast<std::size_t>(size));
        if (is_binary(text, old_size)) {
            return "is binary data, not a list of tracks; pass the name of a file";
        }
        if (text.size() > max_size) {
            return "is not a list of tracks: it is larger than 64 MiB";
        }
    }
    return "";
}

class finder
{
public:
    finder(accept accepted, const cancel_flag& cancelled)
        : accepted_(accepted), cancelled_(cancelled)
    {
        result_.problems.clear();
    }

    void add(const std::string& name, int input)
    {
        std::error_code ignored;
        if (name == list_on_standard_input && accepted_ == accept::all) {
            add_standard_input(input);
        } else if (is_playlist(name) && !fs::is_directory(name, ignored)) {
            add_playlist(name);
        } else {
            add_file_or_folder(name);
        }
    }

    [[nodiscard]] search_result take_result() { return std::move(result_); }

private:
    void add_standard_input(int input)
    {
        if (const std::string problem = add_list(input, ""); !problem.empty()) {
            result_.problems.push_back("standard input " + problem);
        }
    }

    void add_playlist(const fs::path& path)
    {
        if (!is_accepted(path)) {
            return;
        }
        const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (!add_list(file, path.parent_path()).empty()) {
            result_.tracks.push_back(path);
        }
        close(file);
    }

    /// Returns an error message, or an empty text. Does not open playlists in the list: they may contain each other.
    std::string add_list(int file, const fs::path& folder)
    {
        std::string text;
        if (std::string problem = read_list(file, cancelled_, text); !problem.empty()) {
            return problem;
        }
        for (const std::string& name : parse_playlist(text, folder)) {
            add_file_or_folder(name);
        }
        return "";
    }

    void add_file_or_folder(const std::string& name)
    {
        std::error_code ignored;
        if (!fs::is_directory(name, ignored)) {
            add_track(name);
            return;
        }
        const std::set<std::string> tracks = folder_tree(name, cancelled_).tracks();
        std::for_each(tracks.begin(), tracks.end(),
                      [this](const auto& track) { add_track(track); });
        if (tracks.empty()) {
            add_track(name);
        }
    }

    void add_track(const std::string& path)
    {
        if (is_accepted(path)) {
            result_.tracks.push_back(path);
        }
    }

    bool is_accepted(const std::string& path)
    {
        std::error_code ignored;
        if (accepted_ == accept::all || fs::is_regular_file(path, ignored)) {
            return true;
        }
        const std::string problem = file_problem(path);
        result_.problems.push_back(path + ": " +
                                   (problem.empty() ? "not a regular file" : problem));
        return false;
    }

    const accept accepted_;
    const cancel_flag& cancelled_;
    search_result result_;
};

std::string trimmed(const std::string& line)
{
    constexpr auto blanks = " \t\r";
    const std::size_t start = line.find_first_not_of(blanks);
    return start == std::string::npos
               ? ""
               : line.substr(start, line.find_last_not_of(blanks) + 1 - start);
}

} // namespace

search_result find_tracks(const strings& names, accept accepted, const cancel_flag& cancelled,
                          int input)
{
    finder all(accepted, cancelled);
    for (const std::string& name : names) {
        all.add(path_of_file_uri(name).value_or(name), input);
    }
    return all.take_result();
}

bool is_playlist(const fs::path& file)
{
    return has_suffix(file, {".m3u", ".m3u8"});
}

strings parse_playlist(const std::string& text, const fs::path& folder)
{
    constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
    const bool is_marked = text.compare(0, byte_order_mark.size(), byte_order_mark) == 0;
    std::istringstream lines(is_marked ? text.substr(byte_order_mark.size()) : text);
    strings tracks;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = trimmed(line);
        if (!name.empty() && name.front() != '#') {
            const fs::path file = path_of_file_uri(name).value_or(name);
            tracks.push_back(is_remote_uri(name) ? name : (folder / file).string());
        }
    }
    return tracks;
}
