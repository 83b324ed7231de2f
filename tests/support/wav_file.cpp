#include "wav_file.h"

#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t header_bytes = 44;

template <class Number>
Number number_at(const std::string& bytes, std::size_t position)
{
    Number number{};
    std::memcpy(&number, bytes.data() + position, sizeof number);
    return number;
}

} // namespace

std::string read_file(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write_file(const fs::path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

wav_file read_wav(const fs::path& file)
{
    const std::string bytes = read_file(file);
    if (bytes.size() < header_bytes) {
        return {};
    }
    wav_file wav;
    wav.header_fits = bytes.compare(0, 4, "RIFF") == 0 && bytes.compare(8, 8, "WAVEfmt ") == 0 &&
                      number_at<std::uint32_t>(bytes, 4) == bytes.size() - 8 &&
                      number_at<std::uint32_t>(bytes, 40) == bytes.size() - header_bytes;
    wav.samples = bytes.substr(header_bytes);
    return wav;
}

std::vector<double> loudness(const std::string& samples, std::size_t length)
{
    std::vector<double> levels;
    const std::size_t stretch = length * sizeof(std::int16_t);
    for (std::size_t start = 0; start + stretch <= samples.size(); start += stretch) {
        double sum = 0;
        for (std::size_t at = start; at < start + stretch; at += sizeof(std::int16_t)) {
            const double sample = number_at<std::int16_t>(samples, at);
            sum += sample * sample;
        }
        levels.push_back(std::sqrt(sum / static_cast<double>(length)));
    }
    return levels;
}
