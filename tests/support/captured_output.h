/// \file
/// \brief Standard output (`std::cout`) as a test sees it: each insertion, and each flush.
#pragma once

#include "journal.h"

#include <iostream>
#include <streambuf>

/// Takes the place of standard output while it lives. Threads that write must have been waited for
/// before it ends.
class captured_output : private std::streambuf
{
public:
    captured_output() : before_(std::cout.rdbuf(this)) {}
    ~captured_output() override { std::cout.rdbuf(before_); }
    captured_output(const captured_output&) = delete;
    captured_output& operator=(const captured_output&) = delete;

    /// Each insertion, and "flush" for each flush, in order.
    [[nodiscard]] std::vector<std::string> steps() { return steps_.entries(); }

    /// Waits until `count` lines have been written and flushed, if each is one insertion.
    [[nodiscard]] bool wait_for_lines(std::size_t count) { return steps_.wait_for(2 * count); }

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        steps_.note(std::string(text, static_cast<std::size_t>(size)));
        return size;
    }

    int_type overflow(int_type character) override
    {
        steps_.note(std::string(1, traits_type::to_char_type(character)));
        return character;
    }

    int sync() override
    {
        steps_.note("flush");
        return 0;
    }

    std::streambuf* const before_;
    journal steps_;
};
