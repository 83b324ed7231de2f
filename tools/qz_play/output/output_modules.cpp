#include "output/output_modules.h"

#include "environment.h"
#include "failures.h"
#include "output/alsa_device.h"
#include "output/pulse_server.h"

#include <mpg123.h>
#include <out123.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <dlfcn.h>

namespace fs = std::filesystem;

namespace
{

constexpr auto folder_variable = "MPG123_MODDIR";

using names = std::vector<std::string>;

names modules_that_can_sound(const options& chosen)
{
    if (chosen.wav) {
        return {"output_alsa.so"};
    }
    names modules;
    if (pulse_server_answers()) {
        modules.emplace_back("output_pulse.so");
    }
    if (alsa_device_exists()) {
        modules.emplace_back("output_alsa.so");
    }
    return modules;
}

/// Debian installs the modules in a folder beside the library.
fs::path default_folder()
{
    Dl_info library{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dladdr takes any address.
    dladdr(reinterpret_cast<const void*>(&out123_new), &library);
    return fs::path(library.dli_fname).parent_path() / "mpg123";
}

/// Where libout123 would look, best first, with the folder itself that the user has named.
std::vector<fs::path> folders_to_search(const options& chosen)
{
    if (const auto folder = environment_variable(folder_variable)) {
        return {*folder};
    }
    std::vector<fs::path> folders;
    if (chosen.bin_path) {
        const fs::path bin = *chosen.bin_path;
        folders = {bin, bin / "../lib/mpg123", bin / "plugins"};
    }
    folders.push_back(default_folder());
    return folders;
}

/// Links those of `modules` that `source` holds; returns whether there was one.
bool link_modules(const names& modules, const fs::path& source, const fs::path& target)
{
    bool linked = false;
    for (const std::string& module : modules) {
        std::error_code error;
        if (fs::exists(source / module, error)) {
            fs::create_symlink(fs::absolute(source / module), target / module);
            linked = true;
        }
    }
    return linked;
}

} // namespace

void choose_output_modules(const options& chosen, const temp_folder& folder)
{
    if (!environment_variable("PULSE_LATENCY_MSEC")) {
        set_environment_variable("PULSE_LATENCY_MSEC", "30");
    }
    if (environment_variable(folder_variable) && !chosen.wav) {
        return;
    }
    const names modules = modules_that_can_sound(chosen);
    if (modules.empty()) {
        throw startup_failure(
            "no sound output can be used here: no PulseAudio server answers and "
            "ALSA has no sound card; use --wav FILE to write the sound into a file.");
    }
    const std::vector<fs::path> sources = folders_to_search(chosen);
    const bool linked = std::any_of(sources.begin(), sources.end(), [&](const fs::path& source) {
        return link_modules(modules, source, folder.path());
    });
    if (!linked) {
        throw startup_failure("libout123's output modules are not in " + sources.back().string() +
                              "; install the Debian package mpg123, which holds them.");
    }
    set_environment_variable(folder_variable, folder.path());
}
