#include "file_uri.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

TEST(file_uri, escapes_what_needs_it)
{
    EXPECT_EQ(file_uri("/Az09-._~/track.mp3"), "file:///Az09-._~/track.mp3");
    EXPECT_EQ(file_uri("/a b%?#\xc3\xa4\xff\n.mp3"), "file:///a%20b%25%3F%23%C3%A4%FF%0A.mp3");
    EXPECT_EQ(file_uri("track.mp3"),
              file_uri(std::filesystem::current_path().string() + "/track.mp3"));
    for (int byte = 1; byte < 256; ++byte) {
        const std::string path = {'/', static_cast<char>(byte), 'x'};
        EXPECT_EQ(path_of_file_uri(file_uri(path)), path);
    }
}

TEST(path_of_file_uri, takes_scheme_host_and_digits_in_any_case)
{
    for (const auto& [uri, path] : {std::pair{"file:///A/b.mp3", "/A/b.mp3"},
                                    {"FILE:///A/b.mp3", "/A/b.mp3"},
                                    {"File://LocalHost/A/b.mp3", "/A/b.mp3"},
                                    {"file:///%c3%A4", "/\xc3\xa4"}}) {
        EXPECT_EQ(path_of_file_uri(uri), path);
    }
}

TEST(path_of_file_uri, refuses_others_and_broken_escapes)
{
    for (const char* uri :
         {"", "/a/b.mp3", "http://host/a.mp3", "file:", "file://", "file://host/a.mp3",
          "file://localhost", "file://localhosts/a", "file:/a", "file:relative.mp3", "xfile:///a",
          "file:///%", "file:///%4", "file:///%4x", "file:///%-4", "file:///%+4", "file:///% 4",
          "file:///%zz", "file:///%00"}) {
        EXPECT_EQ(path_of_file_uri(uri), std::nullopt) << uri;
    }
}

TEST(is_remote_uri, takes_every_scheme_that_uris_may_have)
{
    for (const char* name :
         {"http://host/a.mp3", "HTTP://host/a.mp3", "svn+ssh://host/a", "h323://host/a",
          "a-b.c://x", "x://", "file://host/a.mp3", "FILE://host/a.mp3"}) {
        EXPECT_TRUE(is_remote_uri(name)) << name;
    }
    for (const char* name :
         {"", "a.mp3", "://a", "1http://host/a.mp3", "a b://c", "a/http://b.mp3",
          "http:/host/a.mp3", "\xc3\xa4://host", "+a://b", "file:///a.mp3", "FILE:///a.mp3"}) {
        EXPECT_FALSE(is_remote_uri(name)) << name;
    }
}
