#include "terminal/terminfo.h"

#include "environment.h"

#include <cstdint>

#include <unistd.h>

// Without the macros for every capability, which are named like variables.
#define NCURSES_NOMACROS
#include <curses.h>
#include <term.h>

namespace
{

/// What is no text capability at all is told by the address -1.
bool is_there(const char* code)
{
    return code != nullptr && reinterpret_cast<std::intptr_t>(code) != -1; // NOLINT
}

std::string code(const char* capability)
{
    const char* found = tigetstr(capability);
    return is_there(found) ? found : "";
}

std::string colour(short number)
{
    const char* found = tigetstr("setaf");
    return is_there(found) ? tiparm(found, number) : "";
}

bool colours_are_wanted()
{
    return environment_variable("NO_COLOR").value_or("").empty();
}

} // namespace

std::optional<screen_codes> find_screen_codes(int descriptor)
{
    int problem = 0;
    if (isatty(descriptor) == 0 || setupterm(nullptr, descriptor, &problem) != OK) {
        return std::nullopt;
    }
    screen_codes codes;
    const std::string erase = code("el");
    if (erase.empty()) {
        return std::nullopt;
    }
    codes.erase_line = "\r" + erase;
    if (colours_are_wanted()) {
        codes.green = colour(COLOR_GREEN);
        codes.yellow = colour(COLOR_YELLOW);
        codes.plain = code("sgr0");
    }
    return codes;
}
