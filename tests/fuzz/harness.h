/// \file
/// \brief The function by which libFuzzer, or the replay of kept inputs, drives a harness.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
