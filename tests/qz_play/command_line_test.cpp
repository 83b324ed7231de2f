#include "qz_play_test.h"

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace
{

class command_line : public qz_play_test
{
};

class wrong_usage : public qz_play_test,
                    public ::testing::WithParamInterface<std::vector<std::string>>
{
};

} // namespace

TEST_F(command_line, help_names_every_option_on_standard_output)
{
    const result help = run({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.errors, IsEmpty());
    for (const char* option :
         {"TRACK", "--loop", "--shuffle", "--start N", "--no-smooth", "--no-mpris", "--quiet",
          "--verbose", "--volume N", "--fade-in SECONDS", "--fade-out SECONDS", "--repeat",
          "--bin-path DIR", "--wav FILE", "--help", "--version", "Exit status"}) {
        EXPECT_THAT(help.output, HasSubstr(option));
    }
}

TEST_F(command_line, version_is_the_projects)
{
    const result version = run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.output, "qz_play " QZ_PLAY_VERSION "\n");
    EXPECT_THAT(version.errors, IsEmpty());
}

TEST_F(command_line, two_hyphens_end_the_options)
{
    settings.folder = path("home");
    const result missing = run({"--", "--help"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.errors, "qz_play: --help: there is no such file; check its name.\n");
}

TEST_P(wrong_usage, ends_with_1_and_says_why_on_standard_error)
{
    const result refused = run(GetParam());
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, IsEmpty());
    EXPECT_THAT(refused.errors, AllOf(Not(IsEmpty()), HasSubstr("--help")));
}

INSTANTIATE_TEST_SUITE_P(
    each, wrong_usage,
    ::testing::Values(std::vector<std::string>{}, std::vector<std::string>{"--repeat"},
                      std::vector<std::string>{"--no-such-option", "a"},
                      std::vector<std::string>{"--volume", "101", "a"},
                      std::vector<std::string>{"--volume", "-1", "a"},
                      std::vector<std::string>{"--volume", "loud", "a"},
                      std::vector<std::string>{"--fade-in", "-1", "a"},
                      std::vector<std::string>{"--fade-in", "nan", "a"},
                      std::vector<std::string>{"--fade-out", "inf", "a"},
                      std::vector<std::string>{"--fade-out", "soon", "a"},
                      std::vector<std::string>{"--bin-path", "/none", "a"},
                      std::vector<std::string>{"--wav", "f", "--repeat", "a"},
                      std::vector<std::string>{"--wav", "f", "--loop", "a"},
                      std::vector<std::string>{"--wav", "f", "--fade-in", "1", "a"},
                      std::vector<std::string>{"--wav", "f", "--fade-out", "1", "a"},
                      std::vector<std::string>{"a", "--wav"}));
