#include "media_info.h"

#include "id3.h"
#include "qz_play_test.h"

#include <functional>
#include <utility>

#include <dlfcn.h>
#include <mpg123.h>

using id3::frame;
using id3::version_1;
using id3::version_2;

namespace
{

std::function<void()> before_scan;

} // namespace

/// Takes the place of the decoder library's.
extern "C" int mpg123_scan(mpg123_handle* mh)
{
    if (before_scan) {
        before_scan();
    }
    using scan_function = int (*)(mpg123_handle*);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
    return reinterpret_cast<scan_function>(dlsym(RTLD_NEXT, "mpg123_scan"))(mh);
}

namespace
{

class media_info_test : public qz_play_test
{
protected:
    void TearDown() override { before_scan = nullptr; }

    [[nodiscard]] media_info inspected(const std::string& name) const
    {
        return inspect(path(name), scan::no, cancelled);
    }

    cancel_flag cancelled;
};

} // namespace

TEST_F(media_info_test, has_tags_of_both_versions_in_any_encoding)
{
    const std::string utf16 = frame("TIT2", std::string("\1\xff\xfeT\0\xe4\0n\0z\0e\0", 13));
    const std::string latin = frame("TPE1", std::string("\0Ein\xe9", 5));
    const std::string utf8 = frame("TALB", "\3Alb\xc3\xbcm");
    struct tags {
        std::string before;
        std::string after;
        std::string title;
        std::string artist;
        std::string album;
    };
    const std::string track = read_file(make_track({}));
    for (const tags& each :
         {tags{}, tags{"", version_1("T\xe4nze", "Ein\xc3\xa9"), "Tänze", "Einé", ""},
          tags{version_2(utf16 + latin + utf8), "", "Tänze", "Einé", "Albüm"},
          tags{version_2(utf16), version_1("old", "artist"), "Tänze", "artist", ""}}) {
        write_file(path("tagged.mp3"), each.before + track + each.after);
        const media_info info = inspected("tagged.mp3");
        EXPECT_EQ(info.problem, "");
        EXPECT_TRUE(info.is_regular);
        EXPECT_FALSE(info.size);
        EXPECT_EQ(info.title, each.title);
        EXPECT_EQ(info.artist, each.artist);
        EXPECT_EQ(info.album, each.album);
    }
}

TEST_F(media_info_test, of_what_is_no_sound_has_a_problem_and_no_size)
{
    EXPECT_NE(media_info{}.problem, "");
    write_file(path("small.mp3"), "\xff\xfb\x90");
    for (const auto& [name, problem] :
         {std::pair{"small.mp3", "not MPEG audio"}, {"missing.mp3", "no such file"}}) {
        EXPECT_EQ(inspected(name).problem, problem);
        EXPECT_FALSE(measure(path(name), cancelled));
    }
    const std::string pipe = make_pipe("pipe");
    EXPECT_EQ(inspected("pipe").problem, "");
    EXPECT_FALSE(inspected("pipe").is_regular);
    EXPECT_FALSE(measure(pipe, cancelled));
}

TEST_F(media_info_test, has_the_size_of_the_decoded_sound)
{
    const std::string track = make_variable_track();
    const std::string bytes = decoded(track);
    const std::optional<decoded_size> size = measure(track, cancelled);
    ASSERT_TRUE(size);
    EXPECT_EQ(size->bytes, bytes.size());
    EXPECT_DOUBLE_EQ(size->length.count(), static_cast<double>(bytes.size()) / 4 / 44100);
    before_scan = [this] { cancelled.set(); };
    EXPECT_FALSE(measure(track, cancelled)) << "cancelled in the middle of a scan";
}

TEST_F(media_info_test, of_a_track_with_a_constant_bit_rate_needs_no_scan)
{
    make_track({});
    before_scan = [] { FAIL() << "scanned"; };
    EXPECT_EQ(inspected("tone.mp3").problem, "");
}
