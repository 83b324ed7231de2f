#include "display.h"

#include "environment.h"

#include <algorithm>
#include <iostream>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

constexpr auto erase_line = "\r\x1b[K";

bool is_capable_terminal()
{
    return isatty(STDERR_FILENO) == 1 && environment_variable("TERM").value_or("dumb") != "dumb";
}

std::string printable(std::string text)
{
    const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 0x7f; };
    std::replace_if(text.begin(), text.end(), is_control, '?');
    return text;
}

/// A line that wraps could not be erased.
std::string cut_to_window(const std::string& text)
{
    winsize window{};
    const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0;
    return known ? text.substr(0, window.ws_col - 1U) : text;
}

void write(const std::string& text)
{
    std::cerr << text << std::flush;
}

} // namespace

display::display() : terminal_(is_capable_terminal()) {}

display::~display()
{
    live("");
}

void display::line(const std::string& text)
{
    live("");
    write(printable(text) + "\n");
}

void display::error(const std::string& sentence)
{
    line("qz_play: " + sentence);
}

void display::live(const std::string& text)
{
    if (terminal_ && text != live_) {
        live_ = text;
        write(erase_line + cut_to_window(text));
    }
}
