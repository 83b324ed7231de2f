#include "qz_play_test.h"

#include <regex>
#include <set>

using ::testing::ContainerEq;
using ::testing::Contains;

namespace
{

std::set<std::string> found_in(const std::string& text, const std::string& pattern)
{
    const std::regex wanted(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator next(text.begin(), text.end(), wanted), end; next != end; ++next) {
        found.insert((*next)[1]);
    }
    return found;
}

class manual : public qz_play_test
{
protected:
    const std::string page = read_file(QZ_PLAY_MANUAL);
    const std::string help = run({"--help"}).output;
};

TEST_F(manual, tells_the_options_that_help_tells)
{
    const std::set<std::string> options = found_in(help, "--([a-z-]+)");
    EXPECT_THAT(options, Contains("volume"));
    EXPECT_THAT(found_in(page, "\\.It Fl (?:[a-z] , )?-([a-z-]+)"), ContainerEq(options));
}

TEST_F(manual, tells_the_exit_statuses_that_help_tells)
{
    const std::set<std::string> statuses = found_in(help, "\n  ([0-9])  ");
    EXPECT_THAT(statuses, Contains("4"));
    EXPECT_THAT(found_in(page, "\\.It ([0-9])\n"), ContainerEq(statuses));
}

} // namespace
