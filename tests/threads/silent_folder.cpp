#include "silent_folder.h"

#include "installed_modules.h"
#include "wav_file.h"

#include <array>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace
{

/// A frame of MPEG-1 layer III without a bit of sound in it, 26 ms long.
struct silent_frame {
    std::array<char, 4> header;
    std::size_t size; ///< With the header.
};

constexpr silent_frame stereo_at_44100{{'\xff', '\xfb', '\x10', '\x00'}, 104};
constexpr silent_frame mono_at_48000{{'\xff', '\xfb', '\x14', '\xc0'}, 96};

/// More than 0.6 s: the end of a shorter track would be waited for, although nothing sounds.
constexpr int count = 30;

std::string frames(const silent_frame& frame)
{
    std::string bytes(frame.header.begin(), frame.header.end());
    bytes.resize(frame.size);
    std::string track;
    for (int number = 0; number < count; ++number) {
        track += bytes;
    }
    return track;
}

} // namespace

silent_folder::silent_folder()
{
    const fs::path modules = folder_.path() / "modules";
    link_output_module(modules, "alsa");
    const std::string config = put("asound.conf", "pcm.!default { type null }\n"
                                                  "ctl.!default { type null }\n");
    setenv("MPG123_MODDIR", modules.c_str(), 1);   // NOLINT(concurrency-mt-unsafe)
    setenv("ALSA_CONFIG_PATH", config.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}

std::string silent_folder::put(const std::string& name, const std::string& content) const
{
    const fs::path path = folder_.path() / name;
    write_file(path, content);
    return path;
}

std::string silent_frames()
{
    return frames(stereo_at_44100);
}

std::string other_silent_frames()
{
    return frames(mono_at_48000);
}
