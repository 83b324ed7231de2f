#include "wav_export.h"

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr mode_t default_permissions = 0666;
constexpr std::uintmax_t header_bytes = 44;

std::string path_of(int descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor);
}

int checked(int descriptor)
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "the WAV output cannot be set up");
    }
    return descriptor;
}

/// Only a write shows whether a device accepts data.
bool accepts_data(int file)
{
    struct stat status {
    };
    const bool is_device = fstat(file, &status) == 0 && S_ISCHR(status.st_mode);
    return !is_device || write(file, "", 1) == 1;
}

using identity = std::pair<dev_t, ino_t>;

std::optional<identity> identity_of(const fs::path& file)
{
    struct stat status {
    };
    return stat(file.c_str(), &status) == 0 ? std::optional(identity(status.st_dev, status.st_ino))
                                            : std::nullopt;
}

int write_configuration(const std::string& text)
{
    const int file = checked(memfd_create("asound.conf", MFD_CLOEXEC));
    checked(static_cast<int>(write(file, text.data(), text.size())));
    return file;
}

} // namespace

wav_export::wav_export() : target_(checked(open("/dev/null", O_WRONLY | O_CLOEXEC)))
{
    configuration_ = write_configuration(
        "pcm.!default { type file slave.pcm { type null } file \"" + path_of(target_) +
        "\" format \"wav\" }\n"
        "ctl.!default { type null }\n");
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    setenv("ALSA_CONFIG_PATH", path_of(configuration_).c_str(), 1);
}

wav_export::~wav_export()
{
    close(configuration_);
    close(target_);
}

std::string wav_export::begin(const fs::path& file, const cancel_flag& cancelled) const
{
    // With O_NONBLOCK, opening a FIFO without a reader fails instead of blocking.
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC,
                            default_permissions);
    const bool writable = opened >= 0 && accepts_data(opened);
    const int reason = errno;
    if (writable && !cancelled.is_set()) {
        dup3(opened, target_, O_CLOEXEC);
    }
    if (opened >= 0) {
        close(opened);
    }
    return writable ? ""
                    : file.string() + ": cannot be written (" +
                          std::generic_category().message(reason) + ")";
}

bool wav_export::holds(std::uintmax_t sound_bytes) const
{
    struct stat file {
    };
    fstat(target_, &file);
    if (S_ISREG(file.st_mode)) {
        return static_cast<std::uintmax_t>(file.st_size) >= header_bytes + sound_bytes;
    }
    pollfd pipe{target_, POLLOUT, 0};
    return poll(&pipe, 1, 0) <= 0 || (pipe.revents & POLLERR) == 0;
}

fs::path wav_file_of_track(const fs::path& file, std::size_t index, std::size_t track_count)
{
    if (track_count == 1) {
        return file;
    }
    const std::string number = std::to_string(index + 1);
    const std::size_t width = std::to_string(track_count).size();
    fs::path name = file.stem();
    name += "-" + std::string(width - number.size(), '0') + number;
    name += file.extension();
    return file.parent_path() / name;
}

std::string overwritten_track(const fs::path& file, const std::vector<std::string>& tracks)
{
    std::set<identity> identities;
    for (const std::string& track : tracks) {
        if (const auto one = identity_of(track)) {
            identities.insert(*one);
        }
    }
    for (std::size_t index = 0; index < tracks.size(); ++index) {
        const fs::path target = wav_file_of_track(file, index, tracks.size());
        const auto existing = identity_of(target);
        if (existing && identities.count(*existing) > 0) {
            return target.string() + ": the WAV file would overwrite a track";
        }
    }
    return "";
}
