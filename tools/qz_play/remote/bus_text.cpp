#include "remote/bus_text.h"

#include <utf8.h>

#include <cstdint>
#include <iterator>

namespace
{

constexpr std::uint32_t replacement = 0xfffd;

/// The end of a text for sd-bus, and the code points that no text shall hold, which sd-bus refuses.
bool may_pass(std::uint32_t code_point)
{
    const bool is_noncharacter =
        (code_point >= 0xfdd0 && code_point <= 0xfdef) || (code_point & 0xfffeU) == 0xfffeU;
    return code_point != 0 && !is_noncharacter;
}

} // namespace

std::string bus_text(const std::string& text)
{
    std::string valid;
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid), replacement);
    std::string passing;
    for (auto at = valid.cbegin(); at != valid.cend();) {
        const std::uint32_t code_point = utf8::next(at, valid.cend());
        utf8::append(may_pass(code_point) ? code_point : replacement, std::back_inserter(passing));
    }
    return passing;
}
