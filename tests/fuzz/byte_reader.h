/// \file
/// \brief An input taken as a sequence of choices.
#pragma once

#include <cstddef>
#include <cstdint>

/// Gives one byte after the other, and 0 after the last.
class byte_reader
{
public:
    byte_reader(const std::uint8_t* data, std::size_t size) : next_(data), left_(size) {}

    [[nodiscard]] bool at_end() const { return left_ == 0; }

    unsigned next()
    {
        if (at_end()) {
            return 0;
        }
        --left_;
        return *next_++;
    }

    template <typename Choices>
    const auto& pick(const Choices& choices)
    {
        return choices.at(next() % choices.size());
    }

private:
    const std::uint8_t* next_;
    std::size_t left_;
};
