#include "id3.h"
#include "qz_play_test.h"

using id3::frame;
using id3::version_1;
using id3::version_2;
using ::testing::HasSubstr;

namespace
{

class tags_shown : public qz_play_test
{
protected:
    tags_shown()
    {
        settings.terminal = true;
        settings.environment["NO_COLOR"] = "1";
        settings.environment["LC_ALL"] = "C.UTF-8";
    }

    [[nodiscard]] std::string shown_for(const std::string& before, const std::string& behind) const
    {
        const std::string track = read_file(make_track({}));
        write_file(path("tagged.mp3"), before + track + behind);
        return run({"--wav", path("out.wav"), path("tagged.mp3")}).errors;
    }
};

} // namespace

TEST_F(tags_shown, of_version_1_may_be_latin_or_utf8)
{
    EXPECT_THAT(shown_for("", version_1("T\xe4nze", "Ein\xc3\xa9")), HasSubstr("▶ Einé - Tänze  "));
}

TEST_F(tags_shown, of_version_2_come_in_any_encoding)
{
    const std::string utf16("\1\xff\xfeT\0\xe4\0n\0z\0e\0", 13);
    const std::string latin("\0Ein\xe9", 5);
    EXPECT_THAT(shown_for(version_2(frame("TIT2", utf16) + frame("TPE1", latin)), ""),
                HasSubstr("▶ Einé - Tänze  "));
}

TEST_F(tags_shown, of_version_1_fill_the_gaps_of_version_2)
{
    const std::string title("\0new", 4);
    EXPECT_THAT(shown_for(version_2(frame("TIT2", title)), version_1("old", "artist")),
                HasSubstr("▶ artist - new  "));
}
