#include "reading.h"

#include "process.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace
{

/// What the heap's pages may come to more than once, in KiB: a block lost with every player is far more.
constexpr std::size_t tolerance = 1024;

std::size_t resident_memory()
{
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

std::string compare(const std::string& what, std::size_t first, std::size_t last)
{
    return what + ": " + std::to_string(first) + " after the first minute, " +
           std::to_string(last) + " at the end\n";
}

} // namespace

reading take_reading()
{
    malloc_trim(0);
    return {resident_memory(), thread_count(), descriptor_count()};
}

std::string find_growth(const reading& first, const reading& last)
{
    std::string found;
    if (last.resident > first.resident + tolerance) {
        found += compare("resident KiB", first.resident, last.resident);
    }
    if (last.threads != first.threads) {
        found += compare("threads", first.threads, last.threads);
    }
    if (last.descriptors != first.descriptors) {
        found += compare("descriptors", first.descriptors, last.descriptors);
    }
    return found;
}
