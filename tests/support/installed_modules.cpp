#include "installed_modules.h"

#include <gtest/gtest.h>

#include <out123.h>

#include <dlfcn.h>

namespace fs = std::filesystem;

namespace
{

/// Where Debian installs them.
fs::path installed_modules()
{
    Dl_info library{};
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dladdr takes any address.
    dladdr(reinterpret_cast<const void*>(&out123_new), &library);
    return fs::path(library.dli_fname).parent_path() / "mpg123";
}

} // namespace

void link_output_module(const fs::path& folder, const std::string& module)
{
    const fs::path file = "output_" + module + ".so";
    ASSERT_TRUE(fs::exists(installed_modules() / file)) << "install the Debian package mpg123";
    fs::create_directory(folder);
    fs::create_symlink(installed_modules() / file, folder / file);
}
