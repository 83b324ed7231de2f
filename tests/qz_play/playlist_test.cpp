#include "playlist/collect.h"
#include "playlist/playlist_file.h"

#include "program.h"
#include "temporary_folder.h"
#include "wav_file.h"

#include <gmock/gmock.h>

#include <climits>
#include <sstream>

#include <sys/resource.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace fs = std::filesystem;

namespace
{

std::vector<std::string> read(const std::string& text)
{
    std::istringstream lines(text);
    return read_playlist(lines, "/music");
}

/// As long as it lives.
class few_open_files
{
public:
    few_open_files()
    {
        getrlimit(RLIMIT_NOFILE, &former_);
        const rlimit few{32, former_.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~few_open_files() { setrlimit(RLIMIT_NOFILE, &former_); }
    few_open_files(const few_open_files&) = delete;
    few_open_files& operator=(const few_open_files&) = delete;

private:
    rlimit former_{};
};

class collected : public ::testing::Test
{
protected:
    std::string make(const std::string& name, const std::string& text = "") const
    {
        fs::create_directories((folder_.path() / name).parent_path());
        write_file(folder_.path() / name, text);
        return path(name);
    }

    [[nodiscard]] std::string path(const std::string& name) const { return folder_.path() / name; }

    static std::vector<std::string> collect(const std::vector<std::string>& names,
                                            const std::string& input = "")
    {
        std::istringstream lines(input);
        return collect_tracks(names, lines);
    }

private:
    temporary_folder folder_{"qz_play_collected"};
};

} // namespace

TEST(playlist, names_a_track_a_line)
{
    EXPECT_THAT(read("a.mp3\n/b c.mp3\nd/e.mp3"),
                ElementsAre("/music/a.mp3", "/b c.mp3", "/music/d/e.mp3"));
}

TEST(playlist, may_name_tracks_by_uris)
{
    EXPECT_THAT(read("file:///a%20b.mp3\nhttp://host/c.mp3\na/http://b.mp3"),
                ElementsAre("/a b.mp3", "http://host/c.mp3", "/music/a/http://b.mp3"));
}

TEST(playlist, has_comments_and_empty_lines)
{
    EXPECT_THAT(read("#EXTM3U\n\n#EXTINF:1,A\na.mp3\n  \n"), ElementsAre("/music/a.mp3"));
}

TEST(playlist, may_come_from_dos_and_begin_with_a_mark)
{
    EXPECT_THAT(read("\xef\xbb\xbf#EXTM3U\r\na.mp3\r\n"), ElementsAre("/music/a.mp3"));
    EXPECT_THAT(read("\xef\xbb\xbf"), IsEmpty());
}

TEST_F(collected, files_stand_for_themselves_even_where_there_is_none)
{
    const std::string track = make("b.mp3");
    EXPECT_THAT(collect({track, path("missing.m3u"), track}),
                ElementsAre(track, path("missing.m3u"), track));
}

TEST_F(collected, folders_stand_for_all_tracks_below_them_in_order)
{
    for (const char* name : {"x/b.mp3", "x/a.MP3", "x/c/d.mp2", "x/cover.jpg", "x/list.m3u"}) {
        make(name);
    }
    fs::create_directory(path("x/folder.mp3"));
    fs::create_directory_symlink(path("x"), path("x/round"));
    EXPECT_THAT(collect({path("x")}),
                ElementsAre(path("x/a.MP3"), path("x/b.mp3"), path("x/c/d.mp2")));
}

TEST_F(collected, files_may_be_named_by_uris_as_desktops_do)
{
    EXPECT_THAT(collect({"file:///a%20b.mp3", "file://" + make("list.m3u", "/c.mp3")}),
                ElementsAre("/a b.mp3", "/c.mp3"));
}

TEST_F(collected, folders_without_tracks_stand_for_themselves)
{
    fs::create_directory(path("empty"));
    EXPECT_THAT(collect({path("empty")}), ElementsAre(path("empty")));
}

TEST_F(collected, folders_may_be_deeper_than_files_may_be_open)
{
    std::string name = "x/";
    for (int depth = 0; depth < 100; ++depth) {
        name += "d/";
    }
    const std::string track = make(name + "a.mp3");
    const few_open_files limit;
    EXPECT_THAT(collect({path("x")}), ElementsAre(track));
}

TEST_F(collected, folders_that_cannot_be_read_stand_for_themselves_beside_the_tracks)
{
    const std::string track = make("x/a.mp3");
    std::string name = path("x");
    while (name.size() < PATH_MAX) {
        name += "/" + std::string(NAME_MAX, 'n');
    }
    run_tool({"mkdir", "-p", name});
    const std::vector<std::string> all = collect({path("x")});
    ASSERT_EQ(all.size(), 2U);
    EXPECT_EQ(all[0], track);
    EXPECT_EQ(all[1], name);
}

TEST_F(collected, playlists_stand_for_what_they_name_beside_them)
{
    EXPECT_THAT(collect({make("x/list.M3U8", "a.mp3\n../b.mp3\n")}),
                ElementsAre(path("x/a.mp3"), path("x/../b.mp3")));
}

TEST_F(collected, playlists_name_the_tracks_of_folders_and_no_further_list)
{
    make("x/c/a.mp3");
    make("x/c/b.mp3");
    make("x/other.m3u", "a.mp3\n");
    EXPECT_THAT(collect({make("x/list.m3u", "c\nother.m3u\n")}),
                ElementsAre(path("x/c/a.mp3"), path("x/c/b.mp3"), path("x/other.m3u")));
    EXPECT_THAT(collect({"-"}, path("x/c") + "\n"),
                ElementsAre(path("x/c/a.mp3"), path("x/c/b.mp3")));
}

TEST_F(collected, a_dash_stands_for_the_list_on_standard_input)
{
    EXPECT_THAT(collect({"first", "-", "last"}, "a.mp3\n/b.mp3\n"),
                ElementsAre("first", "a.mp3", "/b.mp3", "last"));
}
