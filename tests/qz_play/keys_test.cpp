#include "terminal/keys.h"

#include <gmock/gmock.h>

#include <memory>

namespace
{

/// Returns what is asked for by what a terminal sends for one key.
std::optional<user_request> request_of_bytes(const std::string& bytes)
{
    const std::unique_ptr<TermKey, void (*)(TermKey*)> reader(termkey_new_abstract("xterm", 0),
                                                              termkey_destroy);
    termkey_push_bytes(reader.get(), bytes.data(), bytes.size());
    TermKeyKey key{};
    termkey_getkey_force(reader.get(), &key);
    return request_of(key);
}

template <class Request>
bool asks_for(const std::string& keys)
{
    bool all = true;
    for (const char key : keys) {
        const auto wanted = request_of_bytes(std::string(1, key));
        all = all && wanted && std::holds_alternative<Request>(*wanted);
    }
    return all;
}

int volume_change(const std::string& bytes)
{
    return std::get<request::change_volume>(request_of_bytes(bytes).value()).by;
}

} // namespace

TEST(keys, ask_for_what_their_help_says)
{
    EXPECT_TRUE(asks_for<request::toggle_pause>(" p"));
    EXPECT_TRUE(asks_for<request::stop>("s"));
    EXPECT_TRUE(asks_for<request::next>("n>"));
    EXPECT_TRUE(asks_for<request::previous>("b<"));
    EXPECT_TRUE(asks_for<request::toggle_mute>("m"));
    EXPECT_TRUE(asks_for<request::cycle_loop>("r"));
    EXPECT_TRUE(asks_for<request::fade_out>("f"));
    EXPECT_TRUE(asks_for<request::show_info>("i"));
    EXPECT_TRUE(asks_for<request::show_help>("h?"));
    EXPECT_TRUE(asks_for<request::quit>("q"));
}

TEST(keys, change_the_volume_both_ways)
{
    for (const char* louder : {"+", "0", "\x1b[A"}) {
        EXPECT_GT(volume_change(louder), 0);
    }
    for (const char* softer : {"-", "9", "\x1b[B"}) {
        EXPECT_LT(volume_change(softer), 0);
    }
}

TEST(keys, of_other_kinds_ask_for_nothing)
{
    for (const char* other : {"x", "\x1b[C", "\x1b[15~", "\x1bq", "\x11", "\t"}) {
        EXPECT_FALSE(request_of_bytes(other)) << other;
    }
}
