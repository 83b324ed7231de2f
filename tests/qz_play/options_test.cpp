#include "options.h"

#include <gtest/gtest.h>

namespace
{

using strings = std::vector<std::string>;

options chosen_by(const strings& arguments)
{
    std::vector<const char*> argv{"qz_play"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    return std::get<options>(parse_options(static_cast<int>(argv.size()), argv.data()));
}

} // namespace

TEST(command_line_options, have_defaults)
{
    const options chosen = chosen_by({"a.mp3"});
    EXPECT_EQ(chosen.names, strings{"a.mp3"});
    EXPECT_EQ(chosen.volume, 100);
    EXPECT_EQ(chosen.fade_in.count() + chosen.fade_out.count(), 0);
    EXPECT_EQ(chosen.loop, loop_mode::none);
    EXPECT_TRUE(chosen.smooth && chosen.mpris);
    EXPECT_FALSE(chosen.shuffle || chosen.quiet || chosen.verbose || chosen.start ||
                 chosen.bin_path || chosen.wav);
}

TEST(command_line_options, are_all_taken)
{
    const options chosen =
        chosen_by({"--volume", "40", "--fade-in=0.5", "a", "--fade-out", "3600", "--shuffle", "b",
                   "--start", "3", "--no-smooth", "--no-mpris", "--bin-path", "/", "-q", "--loop"});
    EXPECT_EQ(chosen.names, (strings{"a", "b"}));
    EXPECT_EQ(chosen.volume, 40);
    EXPECT_EQ(chosen.fade_in.count(), 0.5);
    EXPECT_EQ(chosen.fade_out.count(), 3600);
    EXPECT_EQ(chosen.loop, loop_mode::list);
    EXPECT_EQ(chosen.start, 3U);
    EXPECT_FALSE(chosen.smooth || chosen.mpris);
    EXPECT_TRUE(chosen.shuffle && chosen.quiet);
    EXPECT_EQ(chosen.bin_path, "/");
    EXPECT_TRUE(chosen_by({"-v", "a"}).verbose);
    EXPECT_EQ(chosen_by({"--repeat", "a"}).loop, loop_mode::track);
    EXPECT_EQ(chosen_by({"--wav", "[x,y]", "a"}).wav, "[x,y]");
}

TEST(command_line_options, leave_every_name_as_it_is)
{
    const strings names{"[Artist] Live, 2004 [320]",
                        "[a,b]",
                        "[a,",
                        "b]",
                        "[]",
                        ",",
                        "{}",
                        "%%",
                        "\"a\"",
                        "'a b'",
                        "a\nb\t",
                        "\xff\xfe",
                        "",
                        "-",
                        "++",
                        "a=b"};
    EXPECT_EQ(chosen_by(names).names, names);
    for (const std::string& name : names) {
        EXPECT_EQ(chosen_by({name}).names, strings{name});
        EXPECT_EQ(chosen_by({"--shuffle", "--", name}).names, strings{name});
    }
    EXPECT_EQ(chosen_by({"a", "--", "--help", "-q", "--", "[b,c]"}).names,
              (strings{"a", "--help", "-q", "--", "[b,c]"}));
}
