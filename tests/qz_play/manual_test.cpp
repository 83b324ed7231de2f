#include "qz_play_test.h"

#include <initializer_list>
#include <set>

using ::testing::ContainerEq;
using ::testing::Contains;

namespace
{

constexpr const char* letters = "abcdefghijklmnopqrstuvwxyz-";
constexpr const char* digits = "0123456789";

/// The words of these characters that stand right behind one of the marks.
std::set<std::string> words_behind(std::initializer_list<std::string> marks,
                                   const std::string& characters, const std::string& text)
{
    std::set<std::string> words;
    for (const std::string& mark : marks) {
        for (auto at = text.find(mark); at != std::string::npos; at = text.find(mark, at + 1)) {
            const auto begin = at + mark.size();
            words.insert(text.substr(begin, text.find_first_not_of(characters, begin) - begin));
        }
    }
    words.erase("");
    return words;
}

class manual : public qz_play_test
{
protected:
    const std::string page = read_file(QZ_PLAY_MANUAL);
    const std::string help = run({"--help"}).output;
};

TEST_F(manual, tells_the_options_that_help_tells)
{
    const std::set<std::string> options = words_behind({"--"}, letters, help);
    EXPECT_THAT(options, Contains("volume"));
    EXPECT_THAT(words_behind({".It Fl -", " , -"}, letters, page), ContainerEq(options));
}

TEST_F(manual, tells_the_exit_statuses_that_help_tells)
{
    const std::set<std::string> statuses = words_behind({"\n  "}, digits, help);
    EXPECT_THAT(statuses, Contains("4"));
    EXPECT_THAT(words_behind({".It "}, digits, page), ContainerEq(statuses));
}

} // namespace
