#include "playlist/file_uri.h"

#include <gtest/gtest.h>

#include <filesystem>

TEST(file_uri, keeps_what_needs_no_escape)
{
    EXPECT_EQ(file_uri("/Az09-._~/track.mp3"), "file:///Az09-._~/track.mp3");
}

TEST(file_uri, escapes_every_other_byte)
{
    EXPECT_EQ(file_uri("/a b%?#\xc3\xa4\xff\n.mp3"), "file:///a%20b%25%3F%23%C3%A4%FF%0A.mp3");
}

TEST(file_uri, of_a_relative_path_counts_from_the_working_folder)
{
    const std::string folder = std::filesystem::current_path();
    EXPECT_EQ(file_uri("track.mp3"), file_uri(folder + "/track.mp3"));
}

TEST(file_uri, of_each_byte_leads_back_to_it)
{
    for (int byte = 1; byte < 256; ++byte) {
        const std::string path = {'/', static_cast<char>(byte), 'x'};
        EXPECT_EQ(path_of_file_uri(file_uri(path)), path);
    }
}

TEST(path_of_file_uri, takes_this_machine_by_either_name)
{
    EXPECT_EQ(path_of_file_uri("file:///a/b.mp3"), "/a/b.mp3");
    EXPECT_EQ(path_of_file_uri("file://localhost/a/b.mp3"), "/a/b.mp3");
}

TEST(path_of_file_uri, takes_digits_of_both_cases)
{
    EXPECT_EQ(path_of_file_uri("file:///%c3%A4"), "/\xc3\xa4");
}

TEST(path_of_file_uri, refuses_what_is_no_file_of_this_machine)
{
    for (const char* uri : {"", "/a/b.mp3", "http://host/a.mp3", "file:", "file://",
                            "file://host/a.mp3", "file://localhost", "file://localhosts/a",
                            "file:/a", "file:relative.mp3", "xfile:///a"}) {
        EXPECT_EQ(path_of_file_uri(uri), std::nullopt) << uri;
    }
}

TEST(path_of_file_uri, refuses_broken_escapes_and_the_zero_byte)
{
    for (const char* uri : {"file:///%", "file:///%4", "file:///%4x", "file:///%-4", "file:///%+4",
                            "file:///% 4", "file:///%zz", "file:///%00"}) {
        EXPECT_EQ(path_of_file_uri(uri), std::nullopt) << uri;
    }
}
