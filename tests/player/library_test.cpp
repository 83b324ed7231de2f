// Loading and unloading the library, and the output-module path. This program does not link the
// library: each test loads it by itself.

#include "call_log.h"
#include "mpg123_substitute.h"
#include "out123_substitute.h"
#include "qz_audio/qz_audio.h"
#include "qz_system_substitute.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace platform = substitute::platform;

using lines = std::vector<std::string>;

namespace
{

/// The library under test, loaded while this lives.
class loaded_library
{
public:
    loaded_library() : handle_(dlopen(QZ_AUDIO_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        if (handle_ == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~loaded_library() { dlclose(handle_); }
    loaded_library(const loaded_library&) = delete;
    loaded_library& operator=(const loaded_library&) = delete;

    qz_audio_ptr make_player() { return find<qz_audio_ptr()>("_Z12qz_audio_newv")(); }
    void destroy(const qz_audio_ptr& player) { player->destroy("main", 1); }
    std::string bin_path() { return find<std::string()>("_Z21qz_audio_get_bin_pathB5cxx11v")(); }
    void set_bin_path(const std::string& path)
    {
        find<void(std::string)>(
            "_Z21qz_audio_set_bin_pathNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE")(path);
    }

private:
    template <typename Function>
    Function* find(const char* name)
    {
        void* const address = dlsym(handle_, name);
        if (address == nullptr) {
            throw std::runtime_error(name);
        }
        Function* function = nullptr;
        static_assert(sizeof function == sizeof address, "a function is found by its address");
        std::memcpy(&function, &address, sizeof function);
        return function;
    }

    void* handle_;
};

bool is_mapped()
{
    void* const handle = dlopen(QZ_AUDIO_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

lines calls()
{
    lines texts;
    for (const auto& each : substitute::calls()) {
        texts.push_back(each.text());
    }
    return texts;
}

std::string long_path()
{
    return std::string(200, 'x') + "/modules/";
}

void say(const char* text)
{
    // Late at exit nothing but the system call can be relied on.
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
        std::abort();
    }
}

} // namespace

/// What makes a player runs in a process of its own, since the library stays then.
class LibraryTest : public testing::Test
{
protected:
    LibraryTest()
    {
        substitute::reset_calls();
        platform::reset();
    }
};

TEST_F(LibraryTest, IsLoadedAndUnloadedWithTheDecoderLibrary)
{
    for (int round = 0; round < 3; ++round) {
        substitute::forget_calls();
        {
            loaded_library library;
            EXPECT_EQ(calls(), lines{"mpg123_init()"});
            EXPECT_EQ(library.bin_path(), "./bin/");
            library.set_bin_path(long_path());
            EXPECT_TRUE(is_mapped());
        }
        EXPECT_EQ(calls(), (lines{"mpg123_init()", "mpg123_exit()"}));
        EXPECT_FALSE(is_mapped());
    }
}

TEST_F(LibraryTest, DoesNotMindWhatTheDecoderLibraryAnswers)
{
    substitute::answer("mpg123_init", MPG123_ERR);
    loaded_library library;
    EXPECT_EQ(library.bin_path(), "./bin/");
}

TEST_F(LibraryTest, KeepsTheOutputModulePathAsItIs)
{
    loaded_library library;
    for (const auto& path : {std::string("/a/b"), std::string("modules/"), std::string(),
                             long_path(), std::string("./bin/")}) {
        library.set_bin_path(path);
        EXPECT_EQ(library.bin_path(), path);
    }
    EXPECT_EQ(calls(), lines{"mpg123_init()"});
}

using LibraryDeathTest = LibraryTest;

TEST_F(LibraryDeathTest, StaysOnceAPlayerHasBeenMade)
{
    EXPECT_EXIT(
        {
            for (int round = 0; round < 3; ++round) {
                loaded_library library;
                library.destroy(library.make_player());
                platform::run_all();
            }
            std::exit(is_mapped() && calls().back() != "mpg123_exit()" ? 7 : 1);
        },
        testing::ExitedWithCode(7), "");
}

TEST_F(LibraryDeathTest, LeavesTheDecoderLibraryAtExitWithOrWithoutAPlayer)
{
    for (const bool makes_player : {false, true}) {
        EXPECT_EXIT(
            {
                substitute::at_call("mpg123_exit", [] { say("mpg123_exit was called"); });
                static loaded_library* library = nullptr;
                library = new loaded_library;
                static qz_audio_ptr player;
                player = makes_player ? library->make_player() : nullptr;
                std::exit(7);
            },
            testing::ExitedWithCode(7), "^mpg123_exit was called$");
    }
}

/// What a worker that still runs at the very end of the process may do.
TEST_F(LibraryDeathTest, KeepsTheOutputModulePathReadableAfterItsOwnEnd)
{
    EXPECT_EXIT(
        {
            static loaded_library* library = nullptr;
            // Registered before the library is loaded, it runs after the library's own end.
            std::atexit([] { say(library->bin_path() == long_path() ? "the same" : "lost"); });
            library = new loaded_library;
            library->set_bin_path(long_path());
            library->make_player();
            std::exit(7);
        },
        testing::ExitedWithCode(7), "^the same$");
}
