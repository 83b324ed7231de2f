#include "temporary_folder.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace fs = std::filesystem;

temporary_folder::temporary_folder(const std::string& prefix)
{
    std::string name = fs::temp_directory_path() / (prefix + "-XXXXXX");
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
}

temporary_folder::~temporary_folder()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}
