/// \file
/// \brief Reads the format, the tags and the length of a file. These functions may block: call them on the worker.
#pragma once

#include "worker.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

/// The exact amount of sound in a file.
struct decoded_size {
    std::chrono::duration<double> length;
    std::uintmax_t bytes; ///< Of the decoded sound.
};

struct media_info {
    /// Why the file cannot be played, without its name; or empty.
    std::string problem = "cannot be inspected: out of memory or threads";
    bool is_regular = false; ///< Only regular files are inspected: a pipe can be read only once.
    std::string title;       ///< In UTF-8, like the next two; empty if the file has no such tag.
    std::string artist;
    std::string album;
    std::optional<decoded_size> size; ///< Only after `scan::whole_file`.
    std::optional<std::chrono::duration<double>> estimated_length; ///< From the file's beginning.
};

enum class scan { no, whole_file };

/// Reads the beginning and the tags of the file at `path`. `scan::whole_file` also measures its size, by reading the
/// whole file. If cancelled, returns early with an unspecified result.
media_info inspect(const std::string& path, scan wanted, const cancel_flag& cancelled);

/// Returns the size of a regular file of MPEG audio.
std::optional<decoded_size> measure(const std::string& path, const cancel_flag& cancelled);

/// A second reading end of a named pipe that the player reads.
class pipe_end
{
public:
    /// Opens the pipe without waiting for a writer.
    explicit pipe_end(const std::string& path);
    ~pipe_end();
    pipe_end(const pipe_end&) = delete;
    pipe_end& operator=(const pipe_end&) = delete;

    /// Returns whether the pipe contains unread data.
    [[nodiscard]] bool has_data() const;

private:
    const int descriptor_;
};

/// Returns why the path cannot be played, as in `media_info::problem`. Checks existence, type, permission and size only.
std::string file_problem(const std::string& path);
