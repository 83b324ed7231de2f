#include "moods.h"

namespace simulation
{

namespace
{

moods* current_moods = nullptr;

} // namespace

moods::moods(std::uint64_t seed) : seed_(seed), failures_(0), blocks_(0), pace_(0)
{
    random_sequence choices(seed);
    failures_ = choices.one_of({0U, 0U, 100U, 20U, 6U});
    blocks_ = choices.one_of({0U, 0U, 50U, 10U});
    pace_ = choices.one_of<milliseconds>({0, 26, 26, 200});
    buffer_ = choices.one_of<std::optional<milliseconds>>({std::nullopt, 0, 100, 500, 3000});
}

random_sequence moods::draw(const char* function, int player)
{
    std::uint64_t key = seed_;
    for (const char* each = function; *each != '\0'; ++each) {
        key = scramble(key ^ static_cast<unsigned char>(*each));
    }
    const std::uint64_t occurrence = ++calls_[{function, player}];
    return random_sequence(scramble(key ^ static_cast<std::uint64_t>(player)) + occurrence);
}

bool moods::fails(const char* function, int player)
{
    return failures_ != 0 && draw(function, player).one_in(failures_);
}

milliseconds moods::blocks(const char* function, int player)
{
    if (blocks_ == 0) {
        return 0;
    }
    random_sequence choices = draw(function, player);
    return choices.one_in(blocks_) ? choices.one_of<milliseconds>({1, 30, 700, 20'000}) : 0;
}

moods& neighbours()
{
    return *current_moods;
}

void set_neighbours(moods* current)
{
    current_moods = current;
}

} // namespace simulation
