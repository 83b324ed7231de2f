#include "decoder_counts.h"
#include "loaded_library.h"

#include <gmock/gmock.h>

// No player is ever made in this program: then the library can be unloaded.

TEST(UnloadTest, LoadSetsUpTheDecoderAndUnloadLeavesIt)
{
    const int inits = decoder_inits();
    const int exits = decoder_exits();
    {
        const loaded_library library;
        EXPECT_EQ(decoder_inits(), inits + 1);
        EXPECT_EQ(decoder_exits(), exits);
    }
    EXPECT_EQ(decoder_inits(), inits + 1);
    EXPECT_EQ(decoder_exits(), exits + 1);
}

TEST(UnloadTest, UnmapsTheLibraryAndWhatItBroughtAlong)
{
    for (int round = 0; round < 20; ++round) {
        {
            const loaded_library library;
            EXPECT_TRUE(is_mapped("libqz_audio.so"));
            EXPECT_TRUE(is_mapped("libmpg123.so"));
        }
        EXPECT_FALSE(is_mapped("libqz_audio.so"));
        EXPECT_FALSE(is_mapped("libmpg123.so"));
    }
}

TEST(UnloadTest, KeepsTheSystemLibraryWhoseThreadsMayRun)
{
    {
        const loaded_library library;
    }
    EXPECT_TRUE(is_mapped("libqz_system.so"));
}

TEST(UnloadTest, OutputModulePathStartsAnewWithEachLoad)
{
    for (int round = 0; round < 2; ++round) {
        const loaded_library library;
        EXPECT_EQ(library.get_bin_path(), "./bin/");
        library.set_bin_path("./a path that is long enough for the heap/");
        EXPECT_EQ(library.get_bin_path(), "./a path that is long enough for the heap/");
        library.set_bin_path("");
        EXPECT_EQ(library.get_bin_path(), "");
    }
}

TEST(UnloadTest, WorksByTheDevelopersLinkToo)
{
    {
        const loaded_library library(library_folder() / "libqz_audio.so");
        EXPECT_EQ(library.get_bin_path(), "./bin/");
    }
    EXPECT_FALSE(is_mapped("libqz_audio.so"));
}
