#include "qz_audio/qz_audio_diagnostics.h"

#include <iostream>

void write_diagnostic(const std::string& text) noexcept
try {
    const std::string line = text + '\n';
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
} catch (...) {
    return;
}

void write_warning(const std::string& text)
{
    write_diagnostic("\x1b[1;35mQZ-SYSTEM**WARNING**\x1b[0;0m: " + text);
}

void write_error(const std::string& text)
{
    write_diagnostic("\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: " + text);
}

std::string in_magenta(const std::string& name)
{
    return "\x1b[0;35m" + name + "\x1b[0;0m";
}
