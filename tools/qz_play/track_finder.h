/// \file
/// \brief Finds the tracks that the user's names stand for. These functions may block: call them on the worker.
#pragma once

#include "worker.h"

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

/// The name that stands for a list on standard input.
constexpr auto list_on_standard_input = "-";

struct search_result {
    std::vector<std::string> tracks;
    /// Error messages. Each begins with the name of what cannot be played.
    std::vector<std::string> problems{"the list cannot be read: out of memory or threads"};
};

enum class accept { all, only_files };

/// Returns the tracks for `names`, in the order of the names. Each name may also be a file URI.
///
/// - A folder stands for the MPEG audio files in it and below it, sorted.
/// - A playlist (.m3u, .m3u8) stands for the files in it and for the tracks of the folders in it.
/// - "-" stands for such a list, read from the descriptor `input`.
/// - Any other name is a track. So is a file or folder that cannot be read, a folder without tracks, and a playlist in
///   a playlist: playback reports the error when it reaches that track.
///
/// With `accept::only_files`, only regular files are returned, "-" is a file name, and everything else is reported as
/// a problem. If cancelled, returns early with an unspecified result.
search_result find_tracks(const std::vector<std::string>& names, accept accepted,
                          const cancel_flag& cancelled, int input = STDIN_FILENO);

/// Returns whether the name has the extension of an M3U playlist.
bool is_playlist(const std::filesystem::path& file);

/// Returns the tracks in the text of an M3U playlist, one per line. Lines that begin with "#" are comments. Relative
/// names are relative to `folder`. URIs other than file URIs are returned unchanged. Lines may end with CR LF. A byte
/// order mark is ignored.
std::vector<std::string> parse_playlist(const std::string& text,
                                        const std::filesystem::path& folder);
