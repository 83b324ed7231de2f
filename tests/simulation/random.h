/// \file
/// \brief Random numbers that are the same on every machine and with every standard library.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace simulation
{

/// Scrambles `value` so that neighbours share nothing (splitmix64).
constexpr std::uint64_t scramble(std::uint64_t value)
{
    value += 0x9e3779b97f4a7c15U;
    value = (value ^ (value >> 30U)) * 0xbf58476d1ce4e5b9U;
    value = (value ^ (value >> 27U)) * 0x94d049bb133111ebU;
    return value ^ (value >> 31U);
}

/// A sequence of random numbers.
class random_sequence
{
public:
    explicit random_sequence(std::uint64_t seed) : state_(scramble(seed)) {}

    /// From 0 up to, and without, `end`, which is not 0.
    unsigned below(unsigned end) { return static_cast<unsigned>(next() % end); }

    /// True once in `chances` times; never for 0.
    bool one_in(unsigned chances) { return chances != 0 && below(chances) == 0; }

    template <typename T>
    T one_of(std::initializer_list<T> choices)
    {
        return choices.begin()[below(static_cast<unsigned>(choices.size()))];
    }

private:
    std::uint64_t next() { return scramble(state_++); }

    std::uint64_t state_;
};

} // namespace simulation
