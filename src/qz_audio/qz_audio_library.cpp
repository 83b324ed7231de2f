#include "qz_audio/qz_audio_library.h"

#include "qz_audio/qz_audio.h"

#include <dlfcn.h>
#include <mpg123.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace
{

/// Initialises libmpg123 when the library is loaded, and releases it at the unload.
class decoder_library
{
public:
    decoder_library() { mpg123_init(); }
    ~decoder_library() { mpg123_exit(); }
    decoder_library(const decoder_library&) = delete;
    decoder_library& operator=(const decoder_library&) = delete;
};

constexpr const char* default_bin_path = "./bin/";

// Threads may still use these while the process ends. So nothing here is ever destroyed, except the path if
// no player was created.
std::string* bin_path = nullptr;
std::mutex bin_path_mutex;
std::atomic<bool> player_was_created{false};

/// Creates the output-module path at the load and, if no player was created, destroys it at the unload.
class bin_path_owner
{
public:
    bin_path_owner() { bin_path = new std::string(default_bin_path); }
    ~bin_path_owner()
    {
        std::unique_ptr<std::string> ended; // destroyed after the lock is released
        // Another thread may hold the mutex. In the child of a fork that thread no longer exists.
        const std::unique_lock<std::mutex> lock(bin_path_mutex, std::try_to_lock);
        if (lock && !player_was_created) {
            ended.reset(std::exchange(bin_path, nullptr));
        }
    }
    bin_path_owner(const bin_path_owner&) = delete;
    bin_path_owner& operator=(const bin_path_owner&) = delete;
};

// Created in this order at the load, and destroyed in reverse at the unload.
const decoder_library decoder;
const bin_path_owner path_owner;

/// Keeps the dynamic linker from unloading the library that holds `address`. Returns whether it succeeded.
bool pin_library_of(const void* address)
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
    player_was_created = true;
    if (!pinned) {
        pinned = pin_library_of(&bin_path);
    }
}

void qz_audio_set_bin_path(std::string path)
{
    const std::lock_guard<std::mutex> lock(bin_path_mutex);
    if (bin_path != nullptr) {
        *bin_path = std::move(path);
    }
}

std::string qz_audio_get_bin_path()
{
    const std::lock_guard<std::mutex> lock(bin_path_mutex);
    return bin_path != nullptr ? *bin_path : default_bin_path;
}
