#include "system/diagnostics.h"

#include "system/qz_system.h"

#include <exception>
#include <iostream>

void print_line(const std::string& text) noexcept
try {
    const std::string line = text + '\n';
    std::cout.write(line.data(), static_cast<std::streamsize>(line.size())).flush();
} catch (...) {
    return;
}

void print_error(const std::string& text)
{
    print_line("\x1b[1;31mQZ-SYSTEM**ERROR**\x1b[0;0m: " + text);
}

void report_current_exception() noexcept
try {
    try {
        throw;
    } catch (const std::exception& exception) {
        print_error(exception.what());
    } catch (...) {
        print_error("unknown exception");
    }
} catch (...) {
    return;
}

void qz_assertion_faild(bool condition, std::string expression, std::string message,
                        std::string file, int line)
{
    if (condition) {
        return;
    }
    print_error("assertion failed: " + expression + " - " + message + " (" + file + ":" +
                std::to_string(line) + ")");
}
