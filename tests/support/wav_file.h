/// \file
/// \brief WAV files and what is in them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

std::string read_file(const std::filesystem::path& file);
void write_file(const std::filesystem::path& file, const std::string& bytes);

struct wav_file {
    bool header_fits = false; ///< The sizes in the header are those of the file.
    std::string samples;      ///< Their bytes, as they stand in the file.
};

/// Reads a WAV file whose header has 44 bytes.
wav_file read_wav(const std::filesystem::path& file);

/// Returns the loudness of 16-bit samples in each of the stretches of `length` samples.
std::vector<double> loudness(const std::string& samples, std::size_t length);
