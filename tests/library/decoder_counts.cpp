#include "decoder_counts.h"

#include <mpg123.h>

#include <atomic>

namespace
{

std::atomic<int> inits{0};
std::atomic<int> exits{0};

} // namespace

int decoder_inits()
{
    return inits;
}

int decoder_exits()
{
    return exits;
}

int mpg123_init()
{
    ++inits;
    return MPG123_OK;
}

void mpg123_exit()
{
    ++exits;
}
