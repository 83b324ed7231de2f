#include "support.h"

#include "installed_modules.h"
#include "program.h"
#include "wav_file.h"

#include <algorithm>
#include <cstdlib>

namespace fs = std::filesystem;

namespace
{

template <class Words>
void append(std::vector<std::string>& words, const Words& more)
{
    words.insert(words.end(), std::begin(more), std::end(more));
}

::testing::AssertionResult difference(const std::string& heard, const std::string& expected)
{
    return ::testing::AssertionFailure()
           << heard.size() << " bytes were heard, " << expected.size()
           << " expected; they are equal up to byte " << equal_length(heard, expected);
}

} // namespace

std::string real_test::make_track(const track_settings& wanted) const
{
    std::string track = path(wanted.name);
    const std::string sound = path("sound.wav");
    std::vector<std::string> synthesis{"sox",
                                       "-R",
                                       "-n",
                                       "-r",
                                       std::to_string(wanted.rate),
                                       "-c",
                                       std::to_string(wanted.channels),
                                       "-b",
                                       "16",
                                       sound,
                                       "synth",
                                       wanted.seconds};
    append(synthesis, wanted.sound);
    append(synthesis, std::vector<std::string>{"gain", "-3"});
    run_tool(synthesis);

    std::vector<std::string> encoding{"lame", "--quiet", "--resample",
                                      std::to_string(wanted.rate / 1000.0)};
    append(encoding, wanted.coding);
    append(encoding, std::vector<std::string>{sound, track});
    run_tool(encoding);
    return track;
}

void real_test::set_environment(const std::string& name, const std::optional<std::string>& value)
{
    if (value) {
        setenv(name.c_str(), value->c_str(), 1); // NOLINT(concurrency-mt-unsafe)
    } else {
        unsetenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
    }
}

void real_test::use_module(const std::string& module) const
{
    const fs::path folder = path("modules-" + module);
    if (!fs::exists(folder)) {
        link_output_module(folder, module);
    }
    set_environment("MPG123_MODDIR", folder.string());
}

void real_test::write_sound_to(const std::string& file, const std::string& format)
{
    configure_default_device("type file slave.pcm { type null } file \"" + file + "\" format \"" +
                             format + "\"");
}

void real_test::take_device_away()
{
    configure_default_device("type hw card 31");
}

void real_test::configure_default_device(const std::string& definition)
{
    // ALSA keeps what it has read until the name changes.
    const std::string file = path("asound-" + std::to_string(configurations_++) + ".conf");
    write_file(file, "pcm.!default { " + definition + " }\nctl.!default { type null }\n");
    set_environment("ALSA_CONFIG_PATH", file);
    use_module("alsa");
}

std::string real_test::written_samples(long rate, int channels) const
{
    const std::string file = std::to_string(rate) + "-" + std::to_string(channels) + ".wav";
    EXPECT_TRUE(fs::exists(path(file))) << "nothing was played at this rate: " << file;
    return read_wav(path(file)).samples;
}

std::size_t equal_length(const std::string& a, const std::string& b, std::size_t start)
{
    const auto offset = static_cast<std::ptrdiff_t>(start);
    const auto begin = a.begin() + offset;
    const auto differing = std::mismatch(begin, a.end(), b.begin() + offset, b.end());
    return static_cast<std::size_t>(differing.first - begin);
}

::testing::AssertionResult same_samples(const std::string& heard, const std::string& expected)
{
    return heard == expected ? ::testing::AssertionSuccess() : difference(heard, expected);
}

::testing::AssertionResult is_beginning(const std::string& heard, const std::string& expected)
{
    return !heard.empty() && equal_length(heard, expected) == heard.size()
               ? ::testing::AssertionSuccess()
               : difference(heard, expected);
}
