#include "silent_sound.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <out123.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

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

void write_file(const fs::path& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary) << content;
}

void write_track(const fs::path& path, const silent_frame& frame, int frames)
{
    std::string bytes(frame.header.begin(), frame.header.end());
    bytes.resize(frame.size);
    std::string track;
    for (int number = 0; number < frames; ++number) {
        track += bytes;
    }
    write_file(path, track);
}

/// Where Debian installs the modules of libout123.
fs::path installed_modules()
{
    Dl_info library{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dladdr takes any address.
    dladdr(reinterpret_cast<const void*>(&out123_new), &library);
    return fs::path(library.dli_fname).parent_path() / "mpg123";
}

class silent_sound : public testing::Environment
{
public:
    void SetUp() override
    {
        std::string name = fs::temp_directory_path() / "qz_threads_XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        folder = name;
        track = folder / "silence.mp3";
        other_track = folder / "other_silence.mp3";
        broken = folder / "broken.mp3";
        write_track(track, stereo_at_44100, 20);
        write_track(other_track, mono_at_48000, 20);
        write_file(broken, std::string(5000, 'x'));
        set_up_output();
    }

    void TearDown() override { fs::remove_all(folder); }

    fs::path folder;
    std::string track;
    std::string other_track;
    std::string broken;

private:
    void set_up_output() const
    {
        const fs::path modules = folder / "modules";
        const fs::path alsa = installed_modules() / "output_alsa.so";
        ASSERT_TRUE(fs::exists(alsa)) << "install the Debian package mpg123";
        fs::create_directory(modules);
        fs::create_symlink(alsa, modules / "output_alsa.so");
        const fs::path config = folder / "asound.conf";
        write_file(config, "pcm.!default { type null }\n"
                           "ctl.!default { type null }\n");
        setenv("MPG123_MODDIR", modules.c_str(), 1);   // NOLINT(concurrency-mt-unsafe)
        setenv("ALSA_CONFIG_PATH", config.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    }
};

// GoogleTest owns it.
const auto* const sound =
    dynamic_cast<silent_sound*>(testing::AddGlobalTestEnvironment(new silent_sound));

} // namespace

const std::string& silent_track()
{
    return sound->track;
}

const std::string& other_silent_track()
{
    return sound->other_track;
}

const std::string& broken_track()
{
    return sound->broken;
}
