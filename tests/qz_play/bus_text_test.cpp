#include "remote/bus_text.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace
{

constexpr auto mark = "\xef\xbf\xbd";

} // namespace

TEST(bus_text, keeps_what_is_utf8)
{
    const std::string text = "a \xc3\xa4 \xe2\x82\xac \xf0\x9f\x8e\xb5 \n\x7f";
    EXPECT_EQ(bus_text(text), text);
    EXPECT_EQ(bus_text(""), "");
}

TEST(bus_text, marks_bytes_that_are_none)
{
    EXPECT_EQ(bus_text("a\xff z"), "a"s + mark + " z");
    EXPECT_EQ(bus_text("M\xfcller"), "M"s + mark + "ller");
}

TEST(bus_text, marks_what_is_cut_off)
{
    EXPECT_EQ(bus_text("a\xe2\x82"), "a"s + mark);
}

TEST(bus_text, marks_surrogates_overlong_forms_and_too_large_ones)
{
    EXPECT_EQ(bus_text("\xed\xa0\x80"), mark);
    EXPECT_EQ(bus_text("\xc0\x80"), mark);
    EXPECT_EQ(bus_text("\xf4\x90\x80\x80"), mark);
}

TEST(bus_text, marks_code_points_that_the_bus_refuses)
{
    EXPECT_EQ(bus_text("\0"s), mark);
    EXPECT_EQ(bus_text("\xef\xb7\x90"), mark);           // U+FDD0
    EXPECT_EQ(bus_text("\xef\xbf\xbf"), mark);           // U+FFFF
    EXPECT_EQ(bus_text("\xf0\x9f\xbf\xbe"), mark);       // U+1FFFE
    EXPECT_EQ(bus_text("\xef\xb7\xb0"), "\xef\xb7\xb0"); // U+FDF0, a letter
}
