#include "remote/load_session_bus.h"

#include <filesystem>
#include <stdexcept>

#include <dlfcn.h>
#include <link.h>

namespace
{

[[noreturn]] void fail()
{
    throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe): it is the thread's own.
}

/// It lies in a folder of the program's own beside the libraries, wherever these are.
std::filesystem::path module_file()
{
    void* const library = dlopen("libqz_audio.so.1", RTLD_NOW | RTLD_NOLOAD);
    const link_map* map = nullptr;
    if (library == nullptr || dlinfo(library, RTLD_DI_LINKMAP, &map) != 0) {
        fail();
    }
    return std::filesystem::path(map->l_name).parent_path() / "qz_play" / "session_bus.so";
}

} // namespace

session_bus_server load_session_bus()
{
    void* const module = dlopen(module_file().c_str(), RTLD_NOW);
    if (module == nullptr) {
        fail();
    }
    void* const server = dlsym(module, "qz_play_serve_session_bus");
    if (server == nullptr) {
        fail();
    }
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dlsym knows no types.
    return reinterpret_cast<session_bus_server>(server);
}
