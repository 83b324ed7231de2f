/// \file
/// \brief The player library, loaded by hand.
#pragma once

#include "process.h"
#include "qz_audio/qz_audio.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string>

inline std::filesystem::path library_folder()
{
    return std::filesystem::canonical(program_folder() / "../lib");
}

/// `libqz_audio.so.1` from the construction to the destruction of this. The functions bear their names
/// without the prefix.
class loaded_library
{
public:
    explicit loaded_library(const std::string& path = library_folder() / "libqz_audio.so.1")
        : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe)
        }
        find(create, "_Z12qz_audio_newv");
        find(destroy, "_Z16qz_audio_destroyN5boost10shared_ptrI9_qz_audioEENSt7__cxx1112basic_"
                      "stringIcSt11char_traitsIcESaIcEEEi");
        find(set_audio_track, "_Z24qz_audio_set_audio_trackN5boost10shared_ptrI9_qz_audioEENSt7__"
                              "cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
        find(play, "_Z13qz_audio_playN5boost10shared_ptrI9_qz_audioEE");
        find(on_status_change, "_Z25qz_audio_on_status_changeN5boost10shared_ptrI9_qz_audioEESt8"
                               "functionIFvS2_15qz_audio_statusEE");
        find(set_bin_path,
             "_Z21qz_audio_set_bin_pathNSt7__cxx1112basic_stringIcSt11char_traitsIcESaI"
             "cEEE");
        find(get_bin_path, "_Z21qz_audio_get_bin_pathB5cxx11v");
    }
    ~loaded_library() { dlclose(handle_); }
    loaded_library(const loaded_library&) = delete;
    loaded_library& operator=(const loaded_library&) = delete;

    decltype(&qz_audio_new) create = nullptr;
    decltype(&qz_audio_destroy) destroy = nullptr;
    decltype(&qz_audio_set_audio_track) set_audio_track = nullptr;
    decltype(&qz_audio_play) play = nullptr;
    decltype(&qz_audio_on_status_change) on_status_change = nullptr;
    decltype(&qz_audio_set_bin_path) set_bin_path = nullptr;
    decltype(&qz_audio_get_bin_path) get_bin_path = nullptr;

private:
    template <typename Function>
    void find(Function& function, const char* symbol)
    {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): what dlsym is for.
        function = reinterpret_cast<Function>(dlsym(handle_, symbol));
        if (function == nullptr) {
            throw std::runtime_error(dlerror()); // NOLINT(concurrency-mt-unsafe)
        }
    }

    void* handle_;
};

/// Whether a file of this name is mapped into the process.
inline bool is_mapped(const std::string& name)
{
    const auto files = mapped_files();
    return std::any_of(files.begin(), files.end(), [&name](const std::string& file) {
        return file.find("/" + name) != std::string::npos;
    });
}
