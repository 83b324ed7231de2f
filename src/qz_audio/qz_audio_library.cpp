#include "qz_audio/qz_audio_library.h"

#include "qz_audio/qz_audio.h"

#include <dlfcn.h>
#include <mpg123.h>

#include <atomic>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace
{

/// libmpg123, from the library's load to its unload.
class decoder_library
{
public:
    decoder_library() { mpg123_init(); }
    ~decoder_library() { mpg123_exit(); }
    decoder_library(const decoder_library&) = delete;
    decoder_library& operator=(const decoder_library&) = delete;
};

/// The output-module path, from the library's load to its unload, or for ever once `keep` was called.
class module_path
{
public:
    module_path() { new (&path_) std::string("./bin/"); }
    ~module_path()
    {
        if (!kept_) {
            path_.~basic_string();
        }
    }
    module_path(const module_path&) = delete;
    module_path& operator=(const module_path&) = delete;

    void keep() { kept_ = true; }
    std::string& get() { return path_; }

private:
    union {
        std::string path_;
    };
    std::atomic<bool> kept_{false};
};

// Constructed in this order, at load, and destroyed in the opposite one.
const decoder_library decoder;
module_path bin_path;

std::mutex bin_path_mutex;

/// Forbids the dynamic linker to unmap the library that holds `address`.
bool pin_library_of(void* address)
{
    Dl_info library{};
    if (dladdr(address, &library) == 0) {
        return false;
    }
    void* const handle = dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
    if (handle == nullptr) {
        return false;
    }
    dlclose(handle);
    return true;
}

} // namespace

void keep_library_loaded()
{
    static std::atomic<bool> pinned{false};
    if (!pinned) {
        bin_path.keep();
        pinned = pin_library_of(&bin_path);
    }
}

void qz_audio_set_bin_path(std::string path)
{
    const std::lock_guard<std::mutex> lock(bin_path_mutex);
    bin_path.get() = std::move(path);
}

std::string qz_audio_get_bin_path()
{
    const std::lock_guard<std::mutex> lock(bin_path_mutex);
    return bin_path.get();
}
