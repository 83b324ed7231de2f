/// \file
/// \brief From what the command line names to tracks.
#pragma once

#include <istream>
#include <string>
#include <vector>

/// Stands for a list on standard input.
constexpr auto list_on_standard_input = "-";

/// Returns the tracks that `names` stand for, in their order: a folder for the MPEG audio files in it and
/// below it, sorted; a playlist (.m3u, .m3u8) for what it lists, with its folders' tracks; "-" for such a list on
/// `input`. Each of them may be the URI of a file, too. Any other name stands for itself, and so does what cannot
/// be read, is a folder without tracks, or a list within a list: it fails in its turn.
std::vector<std::string> collect_tracks(const std::vector<std::string>& names, std::istream& input);
