#include "track_finder.h"

#include "qz_play_test.h"

#include <climits>

#include <fcntl.h>
#include <sys/resource.h>

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace fs = std::filesystem;

namespace
{

class track_finder : public qz_play_test
{
protected:
    // NOLINTNEXTLINE(modernize-use-nodiscard)
    std::string make(const std::string& name, const std::string& text = "") const
    {
        fs::create_directories(fs::path(path(name)).parent_path());
        write_file(path(name), text);
        return path(name);
    }

    /// Standard input is a file with the text `input`.
    [[nodiscard]] search_result find_all(const std::vector<std::string>& names, accept accepted,
                                         const std::string& input = "") const
    {
        const int file = open(make("standard input", input).c_str(), O_RDONLY | O_CLOEXEC);
        search_result all = find_tracks(names, accepted, cancel_flag(), file);
        close(file);
        return all;
    }

    [[nodiscard]] std::vector<std::string> find(const std::vector<std::string>& names,
                                                const std::string& input = "") const
    {
        const search_result all = find_all(names, accept::all, input);
        EXPECT_THAT(all.problems, IsEmpty());
        return all.tracks;
    }
};

} // namespace

TEST(parse_playlist, returns_what_the_lines_name)
{
    const auto parse = [](const std::string& text) { return parse_playlist(text, "/music"); };
    EXPECT_THAT(parse("a.mp3\n/b c.mp3\nd/e.mp3"),
                ElementsAre("/music/a.mp3", "/b c.mp3", "/music/d/e.mp3"));
    EXPECT_THAT(parse("file:///a%20b.mp3\nhttp://host/c.mp3\na/http://b.mp3"),
                ElementsAre("/a b.mp3", "http://host/c.mp3", "/music/a/http://b.mp3"));
    EXPECT_THAT(parse("\xef\xbb\xbf#EXTM3U\r\n\r\n#EXTINF:1,A\r\na.mp3\r\n  \r\n"),
                ElementsAre("/music/a.mp3"));
    EXPECT_THAT(parse("\xef\xbb\xbf"), IsEmpty());
}

TEST_F(track_finder, takes_what_is_named_even_where_there_is_none)
{
    const std::string track = make("b.mp3");
    const std::string binary = make("track.m3u", "\xff\xfb\x90\x64");
    EXPECT_THAT(find({track, path("missing.m3u"), track, binary, "file:///a%20b.mp3",
                      "file://" + make("list.m3u", "/c.mp3")}),
                ElementsAre(track, path("missing.m3u"), track, binary, "/a b.mp3", "/c.mp3"));
}

TEST_F(track_finder, takes_all_tracks_below_a_folder_in_order)
{
    for (const char* name :
         {"x/b.mp3", "x/a.MP3", "x/c/d.mp2", "x/cover.jpg", "x/list.m3u", "x/._a.mp3"}) {
        make(name);
    }
    fs::create_directories(path("x/folder.mp3"));
    fs::create_directory(path("empty"));
    EXPECT_THAT(find({path("x"), path("x/c"), path("empty"), path("x/._a.mp3")}),
                ElementsAre(path("x/a.MP3"), path("x/b.mp3"), path("x/c/d.mp2"), path("x/c/d.mp2"),
                            path("empty"), path("x/._a.mp3")));
}

TEST_F(track_finder, enters_folders_deeper_than_files_may_be_open)
{
    std::string name = "x/";
    for (int depth = 0; depth < 100; ++depth) {
        name += "d/";
    }
    const std::string track = make(name + "a.mp3");
    rlimit former{};
    getrlimit(RLIMIT_NOFILE, &former);
    const rlimit few{32, former.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    EXPECT_THAT(find({path("x")}), ElementsAre(track));
    setrlimit(RLIMIT_NOFILE, &former);
}

TEST_F(track_finder, takes_folders_that_cannot_be_read_as_tracks_that_fail)
{
    const std::string track = make("x/a.mp3");
    std::string name = path("x");
    while (name.size() < PATH_MAX) {
        name += "/" + std::string(NAME_MAX, 'n');
    }
    run_tool({"mkdir", "-p", name});
    EXPECT_THAT(find({path("x")}), ElementsAre(track, name));
}

TEST_F(track_finder, reads_folders_in_playlists_but_no_further_playlist)
{
    make("x/c/a.mp3");
    make("x/other.m3u", "a.mp3\n");
    EXPECT_THAT(find({make("x/list.M3U8", "c\n../b.mp3\nother.m3u\n")}),
                ElementsAre(path("x/c/a.mp3"), path("x/../b.mp3"), path("x/other.m3u")));
    EXPECT_THAT(find({"first", "-", "last"}, "a.mp3\n" + path("x/c") + "\n"),
                ElementsAre("first", "a.mp3", path("x/c/a.mp3"), "last"));
}

TEST_F(track_finder, follows_linked_folders_once)
{
    make("x/z/a.mp3");
    make("x/b.mp3");
    make("y/c.mp3");
    fs::create_directory_symlink(path("x"), path("x/again"));
    fs::create_directory_symlink(path("x/z"), path("x/a link to z"));
    fs::create_directory_symlink(path("y"), path("x/y1"));
    fs::create_directory_symlink(path("y"), path("x/y2"));
    fs::create_directory_symlink(path("x"), path("y/back"));
    EXPECT_THAT(find({path("x")}),
                ElementsAre(path("x/b.mp3"), path("x/y1/c.mp3"), path("x/z/a.mp3")));
}

TEST_F(track_finder, refuses_binary_data_on_standard_input)
{
    for (const std::string& start :
         {std::string("\xff\xfb\x90\x64"), std::string("ID3\4\0\0", 6), std::string("a\n\0", 3)}) {
        const search_result all = find_all({"-"}, accept::all, start + "a.mp3\nb.mp3\n");
        EXPECT_THAT(all.tracks, IsEmpty());
        EXPECT_THAT(all.problems, ElementsAre("standard input is binary data, not a list of "
                                              "tracks; pass the name of a file"));
    }
    EXPECT_THAT(find({"-"}, "\xff.mp3\nID3.mp3\n"), ElementsAre("\xff.mp3", "ID3.mp3"));
}

TEST_F(track_finder, refuses_a_list_without_end)
{
    const search_result all =
        find_all({"-"}, accept::all, std::string(std::size_t{65} << 20U, 'a'));
    EXPECT_THAT(all.tracks, IsEmpty());
    EXPECT_THAT(all.problems,
                ElementsAre("standard input is not a list of tracks: it is larger than 64 MiB"));
}

TEST_F(track_finder, reads_playlists_longer_than_one_read)
{
    const std::string name(1000, 'n');
    std::string text;
    for (int line = 0; line < 500; ++line) {
        text += name + "\n";
    }
    EXPECT_THAT(find({"-"}, text), AllOf(SizeIs(500), Each(name)));
}

TEST_F(track_finder, takes_nothing_but_files_for_others)
{
    fs::create_directory(path("empty"));
    const std::string track = make("a.mp3");
    const std::string pipe = make_pipe("pipe.mp3");
    const std::string pipe_list = make_pipe("pipe.m3u");
    const std::string list = make("list.m3u", "pipe.mp3\na.mp3\n");
    EXPECT_THAT(find({pipe, list}), ElementsAre(pipe, pipe, track));
    const search_result files = find_all(
        {pipe, pipe_list, list, path("none.mp3"), path("empty"), "http://host/a.mp3", "-", track},
        accept::only_files);
    EXPECT_THAT(files.tracks, ElementsAre(track, track));
    EXPECT_THAT(files.problems,
                ElementsAre(pipe + ": not a regular file", pipe_list + ": not a regular file",
                            pipe + ": not a regular file", path("none.mp3") + ": no such file",
                            path("empty") + ": no MPEG audio file in this folder",
                            "http://host/a.mp3: only files can be played", "-: no such file"));
}

TEST_F(track_finder, ends_early_when_cancelled)
{
    make("x/a.mp3");
    cancel_flag cancelled;
    cancelled.set();
    EXPECT_THAT(find_tracks({path("x")}, accept::all, cancelled).tracks, ElementsAre(path("x")));
}
