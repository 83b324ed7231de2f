#include "text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <utility>

using namespace std::string_literals;

namespace
{

constexpr auto every_length = "a \xc3\xa4 \xe2\x82\xac \xf0\x9f\x8e\xb5";

class text_in_utf8 : public ::testing::Test
{
protected:
    text_in_utf8() { std::setlocale(LC_CTYPE, "C.UTF-8"); }
    ~text_in_utf8() override { std::setlocale(LC_CTYPE, "C"); }
};

} // namespace

TEST(valid_utf8, marks_what_is_invalid_or_refused_by_the_bus)
{
    const std::string mark = "\xef\xbf\xbd";
    for (const auto& [text, valid] :
         {std::pair<std::string, std::string>{every_length, every_length},
          {"", ""},
          {"\n\x7f", "\n\x7f"},
          {"a\xff z", "a" + mark + " z"},
          {"M\xfcller", "M" + mark + "ller"},
          {"a\xe2\x82", "a" + mark},           // cut off
          {"\xed\xa0\x80", mark},              // a surrogate
          {"\xc0\x80", mark},                  // an overlong form
          {"\xf4\x90\x80\x80", mark},          // too large
          {"\0"s, mark},                       //
          {"\xef\xb7\x90", mark},              // U+FDD0
          {"\xef\xbf\xbf", mark},              // U+FFFF
          {"\xf0\x9f\xbf\xbe", mark},          // U+1FFFE
          {"\xef\xb7\xb0", "\xef\xb7\xb0"}}) { // U+FDF0, a letter
        EXPECT_EQ(text::valid_utf8(text), valid);
    }
}

TEST_F(text_in_utf8, converts_what_is_valid_and_questions_what_is_not_or_moves_the_cursor)
{
    EXPECT_EQ(text::from_utf8(every_length), L"a ä € 🎵");
    EXPECT_EQ(text::from_locale(every_length), L"a ä € 🎵");
    EXPECT_EQ(text::to_locale(L"a ä € 🎵"), every_length);
    EXPECT_EQ(text::from_utf8("a\xff\x1b[J\n\xe2\x82"), L"a??[J??");
    EXPECT_EQ(text::from_locale("a\xff\x1b[J\n"), L"a??[J?");
    EXPECT_EQ(text::from_utf8(""), L"");
}

TEST_F(text_in_utf8, is_cut_by_columns)
{
    EXPECT_EQ(text::width(L"aä音"), 4U);
    EXPECT_EQ(text::truncate(L"音音音", 6), L"音音音");
    EXPECT_EQ(text::truncate(L"音音音", 5), L"音音…");
    EXPECT_EQ(text::truncate(L"音音音", 4), L"音…");
    EXPECT_EQ(text::truncate(L"音音音", 1), L"");
}

TEST(text_in_ascii, questions_what_it_cannot_write)
{
    EXPECT_EQ(text::to_locale(text::from_utf8("\xc3\xa4\xe2\x82\xac")), "??");
    EXPECT_FALSE(text::is_encodable(L"▶"));
    EXPECT_EQ(text::truncate(L"abcdef", 5), L"ab...");
}
