#include "media_info.h"

#include "file_uri.h"
#include "track_finder.h"

#include <mpg123.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

std::string read_error(int error)
{
    return error == EACCES ? "permission denied"
                           : "cannot be read (" + std::generic_category().message(error) + ")";
}

/// Called only for folders without tracks: otherwise the list contains the tracks, not the folder.
std::string folder_problem(const std::string& path)
{
    std::error_code error;
    fs::directory_iterator entry(path, error);
    while (!error && entry != fs::directory_iterator()) {
        entry.increment(error);
    }
    return error ? "folder cannot be read (" + error.message() + ")"
                 : "no MPEG audio file in this folder";
}

/// An open file whose `read` and `seek` fail after the job is cancelled.
class cancellable_file
{
public:
    cancellable_file(const std::string& path, const cancel_flag& cancelled)
        : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), error_(file_ < 0 ? errno : 0),
          cancelled_(cancelled)
    {
    }
    ~cancellable_file() { close(file_); }
    cancellable_file(const cancellable_file&) = delete;
    cancellable_file& operator=(const cancellable_file&) = delete;

    /// Returns the `errno` of the first failure, or 0.
    [[nodiscard]] int error() const { return error_; }

    ssize_t read(void* buffer, std::size_t size)
    {
        const ssize_t result = check_cancelled() ? -1 : ::read(file_, buffer, size);
        error_ = result < 0 && error_ == 0 ? errno : error_;
        return result;
    }

    off_t seek(off_t offset, int whence)
    {
        return check_cancelled() ? -1 : lseek(file_, offset, whence);
    }

private:
    bool check_cancelled()
    {
        error_ = cancelled_.is_set() ? ECANCELED : error_;
        return error_ == ECANCELED;
    }

    const int file_;
    int error_;
    const cancel_flag& cancelled_;
};

struct decoder_deleter {
    void operator()(mpg123_handle* decoder) const { mpg123_delete(decoder); }
};
using decoder_ptr = std::unique_ptr<mpg123_handle, decoder_deleter>;

/// Creates a decoder like the player's, but without messages on standard error.
decoder_ptr new_decoder()
{
    decoder_ptr decoder(mpg123_new(nullptr, nullptr));
    mpg123_param(decoder.get(), MPG123_FLAGS, MPG123_GAPLESS | MPG123_QUIET, 0);
    mpg123_replace_reader_handle(
        decoder.get(),
        [](void* file, void* buffer, std::size_t size) {
            return static_cast<cancellable_file*>(file)->read(buffer, size);
        },
        [](void* file, off_t offset, int whence) {
            return static_cast<cancellable_file*>(file)->seek(offset, whence);
        },
        nullptr);
    return decoder;
}

/// Keeps valid UTF-8. Converts everything else from Windows-1252, which is the usual encoding.
std::string to_utf8(const std::string& text)
{
    const std::unique_ptr<char, void (*)(void*)> utf8(mpg123_icy2utf8(text.c_str()), std::free);
    return utf8 ? std::string(utf8.get()) : std::string();
}

/// libmpg123 has converted ID3v2 fields to UTF-8, but the file may have declared a wrong encoding.
std::string text_of(const mpg123_string* field)
{
    return field != nullptr && field->fill > 1 ? to_utf8(field->p) : std::string();
}

/// ID3v1 fields have a fixed size and are padded with zeros or blanks.
template <std::size_t Size>
std::string text_of(const char (&field)[Size])
{
    const std::string_view whole(field, Size);
    const std::string_view text = whole.substr(0, whole.find('\0'));
    return to_utf8(std::string(text.substr(0, text.find_last_not_of(' ') + 1)));
}

/// Uses ID3v1 for the fields that ID3v2 does not have.
void read_tags(mpg123_handle* decoder, media_info& info)
{
    mpg123_id3v1* version_1 = nullptr;
    mpg123_id3v2* version_2 = nullptr;
    mpg123_id3(decoder, &version_1, &version_2);
    const auto fill = [](std::string& text, const auto& field) {
        text = text.empty() ? text_of(field) : text;
    };
    const auto fill_all = [&](const auto* version) {
        if (version != nullptr) {
            fill(info.title, version->title);
            fill(info.artist, version->artist);
            fill(info.album, version->album);
        }
    };
    fill_all(version_2);
    fill_all(version_1);
}

/// Returns why the file cannot be played, or an empty text. Scans all frames if the length is unknown without it: for
/// a variable bit rate without a tag, or a first frame without sound.
std::string decode(const std::string& path, cancellable_file& file, scan wanted, media_info& info)
{
    const decoder_ptr decoder = new_decoder();
    long rate = 0;
    int channels = 0;
    int encoding = 0;
    if (mpg123_open_handle(decoder.get(), &file) != MPG123_OK ||
        mpg123_getformat(decoder.get(), &rate, &channels, &encoding) != MPG123_OK) {
        return is_playlist(path) ? "playlist inside a playlist" : "not MPEG audio";
    }
    if (wanted == scan::whole_file || mpg123_length(decoder.get()) <= 0) {
        mpg123_scan(decoder.get());
    }
    const auto frames = mpg123_length(decoder.get());
    if (frames <= 0) {
        return "no sound in this file";
    }
    const auto frame_bytes = static_cast<std::uintmax_t>(channels) *
                             static_cast<std::uintmax_t>(MPG123_SAMPLESIZE(encoding));
    info.estimated_length = std::chrono::duration<double>(static_cast<double>(frames)) / rate;
    if (wanted == scan::whole_file) {
        info.size = {*info.estimated_length, static_cast<std::uintmax_t>(frames) * frame_bytes};
    }
    read_tags(decoder.get(), info);
    return "";
}

} // namespace

pipe_end::pipe_end(const std::string& path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC))
{
}

pipe_end::~pipe_end()
{
    close(descriptor_);
}

bool pipe_end::has_data() const
{
    pollfd input{descriptor_, POLLIN, 0};
    return poll(&input, 1, 0) > 0 && (input.revents & POLLIN) != 0;
}

std::string file_problem(const std::string& path)
{
    struct stat status {
    };
    if (stat(path.c_str(), &status) != 0) {
        const bool missing = errno == ENOENT;
        return !missing              ? read_error(errno)
               : is_remote_uri(path) ? "only files can be played"
                                     : "no such file";
    }
    if (S_ISDIR(status.st_mode)) {
        return folder_problem(path);
    }
    if (access(path.c_str(), R_OK) != 0) {
        return read_error(errno);
    }
    return S_ISREG(status.st_mode) && status.st_size == 0 ? "file is empty" : "";
}

media_info inspect(const std::string& path, scan wanted, const cancel_flag& cancelled)
{
    std::error_code ignored;
    media_info info;
    info.problem = file_problem(path);
    info.is_regular = fs::is_regular_file(path, ignored);
    if (!info.problem.empty() || !info.is_regular) {
        return info;
    }
    cancellable_file file(path, cancelled);
    info.problem = decode(path, file, wanted, info);
    if (file.error() != 0) {
        info.problem = read_error(file.error());
        info.size.reset();
    }
    return info;
}

std::optional<decoded_size> measure(const std::string& path, const cancel_flag& cancelled)
{
    return inspect(path, scan::whole_file, cancelled).size;
}
