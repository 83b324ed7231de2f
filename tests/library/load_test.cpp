#include "decoder_counts.h"
#include "event.h"
#include "loaded_library.h"
#include "on_threads.h"
#include "silent_sound.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <memory>

namespace
{

/// Plays a track to its end, asks for the player's destruction and does not wait for it.
void play_one_track(const loaded_library& library)
{
    const auto ended = std::make_shared<event>();
    const qz_audio_ptr player = library.create();
    library.on_status_change(player, [ended](const qz_audio_ptr&, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            ended->set();
        }
    });
    library.set_audio_track(player, silent_track());
    library.play(player);
    EXPECT_TRUE(ended->wait());
    library.destroy(player, __FILE__, __LINE__);
}

} // namespace

TEST(LoadTest, UseDestroyAndUnloadAgainAndAgain)
{
    for (int round = 0; round < 50; ++round) {
        play_one_track(loaded_library());
    }
}

TEST(LoadTest, LibraryThatHasMadeAPlayerStays)
{
    int exits = 0;
    {
        const loaded_library library;
        play_one_track(library);
        exits = decoder_exits();
    }
    EXPECT_TRUE(is_mapped("libqz_audio.so"));
    EXPECT_TRUE(is_mapped("libmpg123.so"));
    EXPECT_EQ(decoder_exits(), exits);
}

TEST(LoadTest, LibraryThatStaysKeepsItsOutputModulePath)
{
    {
        const loaded_library library;
        play_one_track(library);
        library.set_bin_path("./kept/");
    }
    const loaded_library library;
    EXPECT_EQ(library.get_bin_path(), "./kept/");
}

TEST(LoadTest, PlayersThreadsEndAfterTheUnload)
{
    play_one_track(loaded_library());
    EXPECT_TRUE(wait_until([] { return threads_named("audio") == 0; }));
}

// Each in a process of its own, since the first player keeps the library for good.

TEST(LoadTest, LibraryLoadedByARelativePathStaysToo)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::filesystem::current_path(library_folder());
            {
                const loaded_library library("./libqz_audio.so");
                std::filesystem::current_path("/");
                library.destroy(library.create(), __FILE__, __LINE__);
            }
            EXPECT_TRUE(is_mapped("libqz_audio.so"));
            std::exit(testing::Test::HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe)
        },
        testing::ExitedWithCode(0), "");
}

TEST(LoadTest, LoadsUsesAndUnloadsOnManyThreadsDoNotDisturbEachOther)
{
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "ThreadSanitizer does not see the dynamic linker's lock";
#endif
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int process = 0; process < 10; ++process) {
        EXPECT_EXIT(
            {
                on_threads(8, [](unsigned number) {
                    for (int round = 0; round < 20; ++round) {
                        const loaded_library library;
                        if (number % 2 == 0) {
                            library.destroy(library.create(), __FILE__, __LINE__);
                        }
                    }
                });
                EXPECT_TRUE(is_mapped("libqz_audio.so"));
                std::exit(testing::Test::HasFailure() ? 1 : 0); // NOLINT(concurrency-mt-unsafe)
            },
            testing::ExitedWithCode(0), "");
    }
}
