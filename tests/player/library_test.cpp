// The player library at its load and at the process's end. This program does not link it.

#include "loaded_library.h"

#include "call_log.h"
#include "mpg123_substitute.h"
#include "out123_substitute.h"
#include "qz_system_substitute.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace
{

std::string long_path()
{
    return "./a path that is long enough for the heap/";
}

/// Writes to standard error: late at exit nothing but the system call can be relied on.
void say(const char* text)
{
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0) {
        std::abort();
    }
}

/// Leaves the library to the end of the process.
loaded_library& load_for_good()
{
    static loaded_library& library = *new loaded_library;
    return library;
}

void end_process()
{
    std::exit(7); // NOLINT(concurrency-mt-unsafe): the one thread
}

} // namespace

TEST(LibraryTest, DoesNotMindWhatTheDecoderLibraryAnswers)
{
    substitute::answer("mpg123_init", MPG123_ERR);
    const loaded_library library;
    EXPECT_EQ(substitute::calls().back().text(), "mpg123_init()");
    EXPECT_EQ(library.get_bin_path(), "./bin/");
}

TEST(LibraryDeathTest, LeavesTheDecoderLibraryAtExitWithOrWithoutAPlayer)
{
    for (const bool makes_player : {false, true}) {
        EXPECT_EXIT(
            {
                substitute::at_call("mpg123_exit", [] { say("mpg123_exit was called"); });
                loaded_library& library = load_for_good();
                const qz_audio_ptr player = makes_player ? library.create() : nullptr;
                end_process();
            },
            testing::ExitedWithCode(7), "^mpg123_exit was called$");
    }
}

TEST(LibraryDeathTest, AnswersWithTheUsualOutputModulePathAfterItsOwnEnd)
{
    EXPECT_EXIT(
        {
            static loaded_library* library = nullptr;
            // Registered before the library is loaded, it runs after the library's own end.
            std::atexit([] {
                library->set_bin_path(long_path());
                say(library->get_bin_path() == "./bin/" ? "the usual" : "another");
            });
            library = &load_for_good();
            library->set_bin_path(long_path());
            end_process();
        },
        testing::ExitedWithCode(7), "^the usual$");
}

/// What a player's thread that still runs at the very end of the process may do.
TEST(LibraryDeathTest, KeepsTheOutputModulePathReadableAfterItsOwnEnd)
{
    EXPECT_EXIT(
        {
            static loaded_library* library = nullptr;
            // Registered before the library is loaded, it runs after the library's own end.
            std::atexit([] { say(library->get_bin_path() == long_path() ? "the same" : "lost"); });
            library = &load_for_good();
            library->set_bin_path(long_path());
            library->create();
            end_process();
        },
        testing::ExitedWithCode(7), "^the same$");
}
