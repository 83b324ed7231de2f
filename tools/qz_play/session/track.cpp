#include "session/track.h"

#include "failures.h"
#include "playlist/file_uri.h"
#include "playlist/playlist_file.h"

#include <mpg123.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class file_closer
{
public:
    explicit file_closer(int file) : file_(file) {}
    ~file_closer() { close(file_); }
    file_closer(const file_closer&) = delete;
    file_closer& operator=(const file_closer&) = delete;

private:
    int file_;
};

struct decoder_deleter {
    void operator()(mpg123_handle* decoder) const { mpg123_delete(decoder); }
};
using decoder_ptr = std::unique_ptr<mpg123_handle, decoder_deleter>;

[[noreturn]] void refuse(const std::string& path, const std::string& reason)
{
    throw track_failure(path + ": " + reason);
}

[[noreturn]] void refuse_unreadable(const std::string& path, int error)
{
    switch (error) {
    case ENOENT:
        refuse(path, is_address(path) ? "only files can be played; download it and name the file."
                                      : "there is no such file; check its name.");
    case EACCES:
        refuse(path, "this file may not be read; change its permissions.");
    default:
        refuse(path, "this file cannot be read (" + std::generic_category().message(error) +
                         "); check its name and its disk.");
    }
}

/// Whatever tracks it holds are in the list themselves.
[[noreturn]] void refuse_folder(const std::string& path)
{
    namespace fs = std::filesystem;
    if (access(path.c_str(), R_OK | X_OK) != 0) {
        refuse(path, "this folder may not be read; change its permissions.");
    }
    std::error_code error;
    fs::directory_iterator entry(path, error);
    while (!error && entry != fs::directory_iterator()) {
        entry.increment(error);
    }
    refuse(path, error ? "this folder cannot be read to its end (" + error.message() +
                             "); see to its disk."
                       : "there is no MPEG audio file in this folder; name another.");
}

/// Like the player's decoder, but without a word on standard error.
decoder_ptr new_decoder()
{
    decoder_ptr decoder(mpg123_new(nullptr, nullptr));
    mpg123_param(decoder.get(), MPG123_FLAGS, MPG123_GAPLESS | MPG123_QUIET, 0);
    return decoder;
}

/// Only a look at every frame tells the length of a file with changing bit rates and no tag.
bool scan_holds_sound(mpg123_handle* decoder)
{
    mpg123_scan(decoder);
    return mpg123_length(decoder) > 0;
}

/// Refuses what holds no sound, and returns what the rest tells of itself.
tags look_into(const std::string& path, int file)
{
    const decoder_ptr decoder = new_decoder();
    if (mpg123_open_fd(decoder.get(), file) != MPG123_OK ||
        mpg123_getformat(decoder.get(), nullptr, nullptr, nullptr) != MPG123_OK) {
        refuse(path, is_playlist(path)
                         ? "a list within a list is not followed; name it on the command line."
                         : "this is no MPEG audio; convert it first.");
    }
    if (mpg123_length(decoder.get()) <= 0 && !scan_holds_sound(decoder.get())) {
        refuse(path, "this file holds no sound; make or fetch it anew.");
    }
    return read_tags(decoder.get());
}

} // namespace

track inspect_track(const std::string& path)
{
    struct stat status {
    };
    if (stat(path.c_str(), &status) != 0) {
        refuse_unreadable(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        refuse_folder(path);
    }
    if (!S_ISREG(status.st_mode)) {
        return {path, std::nullopt, {}};
    }
    if (status.st_size == 0) {
        refuse(path, "this file is empty; make or fetch it anew.");
    }
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        refuse_unreadable(path, errno);
    }
    const file_closer closer(file);
    return {path, std::nullopt, look_into(path, file)};
}

std::optional<track::extent> measure_track(const std::string& path)
{
    std::error_code ignored;
    const decoder_ptr decoder = new_decoder();
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    if (!std::filesystem::is_regular_file(path, ignored) ||
        mpg123_open(decoder.get(), path.c_str()) != MPG123_OK ||
        mpg123_getformat(decoder.get(), &rate, &channels, &encoding) != MPG123_OK ||
        !scan_holds_sound(decoder.get())) {
        return std::nullopt;
    }
    const auto frames = mpg123_length(decoder.get());
    const auto frame_bytes = channels * MPG123_SAMPLESIZE(encoding);
    return track::extent{
        std::chrono::duration<double>(static_cast<double>(frames) / static_cast<double>(rate)),
        static_cast<std::uintmax_t>(frames) * static_cast<std::uintmax_t>(frame_bytes)};
}
