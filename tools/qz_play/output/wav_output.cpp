#include "output/wav_output.h"

#include "environment.h"
#include "failures.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr mode_t ordinary_permissions = 0666;
constexpr std::uintmax_t header_bytes = 44;

std::string path_of(int descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor);
}

int valid(int descriptor)
{
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "the WAV output cannot be set up");
    }
    return descriptor;
}

/// A device tells only when something is written whether it takes anything.
bool takes_sound(int file)
{
    struct stat status {
    };
    const bool is_device = fstat(file, &status) == 0 && S_ISCHR(status.st_mode);
    return !is_device || write(file, "", 1) == 1;
}

int write_configuration(const std::string& text)
{
    const int file = valid(memfd_create("asound.conf", MFD_CLOEXEC));
    valid(static_cast<int>(write(file, text.data(), text.size())));
    return file;
}

} // namespace

wav_output::wav_output() : target_(valid(open("/dev/null", O_WRONLY | O_CLOEXEC)))
{
    configuration_ = write_configuration(
        "pcm.!default { type file slave.pcm { type null } file \"" + path_of(target_) +
        "\" format \"wav\" }\n"
        "ctl.!default { type null }\n");
    set_environment_variable("ALSA_CONFIG_PATH", path_of(configuration_));
}

wav_output::~wav_output()
{
    close(configuration_);
    close(target_);
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes what the target stands for.
void wav_output::begin(const fs::path& file, const std::string& track)
{
    std::error_code ignored;
    if (fs::equivalent(file, track, ignored)) {
        throw startup_failure("the WAV file must not be the track itself: name another than " +
                              file.string() + ".");
    }
    // A FIFO without a reader is an error then, not a wait.
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC,
                            ordinary_permissions);
    if (opened < 0 || !takes_sound(opened)) {
        throw startup_failure("the WAV file " + file.string() + " cannot be written (" +
                              std::generic_category().message(errno) + "); name another.");
    }
    dup3(opened, target_, O_CLOEXEC);
    close(opened);
}

bool wav_output::holds(std::uintmax_t sound_bytes) const
{
    struct stat file {
    };
    return fstat(target_, &file) != 0 || !S_ISREG(file.st_mode) ||
           static_cast<std::uintmax_t>(file.st_size) >= header_bytes + sound_bytes;
}

fs::path wav_file_of_track(const fs::path& file, std::size_t index, std::size_t track_count)
{
    if (track_count == 1) {
        return file;
    }
    fs::path name = file.stem();
    name += "-" + std::to_string(index + 1);
    name += file.extension();
    return file.parent_path() / name;
}
