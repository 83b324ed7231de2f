#include "support_decoder.h"

#include <mpg123.h>

#include <memory>
#include <vector>

namespace
{

/// Reads to the end of the track or to an error, and returns the last result.
int read_all(mpg123_handle* decoder, std::string& samples)
{
    std::vector<unsigned char> block(mpg123_outblock(decoder));
    int result = MPG123_OK;
    while (result == MPG123_OK) {
        std::size_t done = 0;
        result = mpg123_read(decoder, block.data(), block.size(), &done);
        samples.append(block.begin(), block.begin() + static_cast<std::ptrdiff_t>(done));
    }
    return result;
}

} // namespace

decoded_track decode(const std::string& track, double volume, int rounds)
{
    const std::unique_ptr<mpg123_handle, decltype(&mpg123_delete)> decoder(
        mpg123_new(nullptr, nullptr), &mpg123_delete);
    mpg123_param(decoder.get(), MPG123_FLAGS, MPG123_GAPLESS, 0);
    mpg123_volume(decoder.get(), volume);

    decoded_track decoded;
    int encoding = 0;
    decoded.result = mpg123_open(decoder.get(), track.c_str());
    if (decoded.result == MPG123_OK) {
        decoded.result =
            mpg123_getformat(decoder.get(), &decoded.rate, &decoded.channels, &encoding);
    }
    if (decoded.result == MPG123_OK) {
        mpg123_format_none(decoder.get());
        mpg123_format(decoder.get(), decoded.rate, decoded.channels, encoding);
        decoded.result = read_all(decoder.get(), decoded.samples);
    }
    for (int round = 1; round < rounds && decoded.result == MPG123_DONE; ++round) {
        mpg123_seek(decoder.get(), 0, SEEK_SET);
        decoded.result = read_all(decoder.get(), decoded.samples);
    }
    decoded.error = mpg123_errcode(decoder.get());
    return decoded;
}
