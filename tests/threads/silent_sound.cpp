#include "silent_sound.h"

#include "installed_modules.h"
#include "temporary_folder.h"
#include "wav_file.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <optional>
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

class silent_sound : public testing::Environment
{
public:
    void SetUp() override
    {
        folder.emplace("qz_threads");
        track = folder->path() / "silence.mp3";
        other_track = folder->path() / "other_silence.mp3";
        broken = folder->path() / "broken.mp3";
        write_track(track, stereo_at_44100, 20);
        write_track(other_track, mono_at_48000, 20);
        write_file(broken, std::string(5000, 'x'));
        set_up_output();
    }

    void TearDown() override { folder.reset(); }

    std::optional<temporary_folder> folder;
    std::string track;
    std::string other_track;
    std::string broken;

private:
    void set_up_output() const
    {
        const fs::path modules = folder->path() / "modules";
        link_output_module(modules, "alsa");
        const fs::path config = folder->path() / "asound.conf";
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
