#include "playlist/file_suffix.h"

#include <algorithm>

namespace
{

/// Of ASCII alone, whatever the locale.
char to_lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

} // namespace

bool has_suffix(const std::filesystem::path& file, const std::vector<std::string>& suffixes)
{
    std::string suffix = file.extension();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(), to_lower);
    return std::find(suffixes.begin(), suffixes.end(), suffix) != suffixes.end();
}
