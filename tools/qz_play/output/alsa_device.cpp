#include "output/alsa_device.h"

#include "environment.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace fs = std::filesystem;

namespace
{

template <class Predicate>
bool any_file_in(const fs::path& folder, Predicate predicate)
{
    std::error_code ignored;
    const fs::directory_iterator files(folder, ignored);
    return std::any_of(begin(files), end(files), predicate);
}

/// The kernel names each device for playing "pcmC", card, "D", device, "p".
bool is_playback_device(const fs::path& file)
{
    const std::string name = file.filename();
    return name.rfind("pcmC", 0) == 0 && name.back() == 'p';
}

bool sets_default_device(const fs::path& file)
{
    std::ifstream stream(file);
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return file.extension() == ".conf" && text.find("pcm.!default") != std::string::npos;
}

std::vector<fs::path> configuration_files()
{
    std::vector<fs::path> files = {"/etc/asound.conf"};
    const auto home = environment_variable("HOME");
    const auto config = environment_variable("XDG_CONFIG_HOME");
    if (home) {
        files.push_back(fs::path(*home) / ".asoundrc");
    }
    if (config) {
        files.push_back(fs::path(*config) / "alsa/asoundrc");
    } else if (home) {
        files.push_back(fs::path(*home) / ".config/alsa/asoundrc");
    }
    return files;
}

bool is_there(const fs::path& file)
{
    std::error_code ignored;
    return fs::exists(file, ignored);
}

} // namespace

bool alsa_device_exists()
{
    const std::vector<fs::path> files = configuration_files();
    return environment_variable("ALSA_CONFIG_PATH") ||
           any_file_in("/dev/snd", is_playback_device) ||
           std::any_of(files.begin(), files.end(), is_there) ||
           any_file_in("/etc/alsa/conf.d", sets_default_device);
}
