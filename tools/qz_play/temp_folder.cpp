#include "temp_folder.h"

#include "failures.h"

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace fs = std::filesystem;

namespace
{

[[noreturn]] void refuse(const std::error_code& reason)
{
    throw startup_failure("no temporary folder can be made (" + reason.message() +
                          "); set TMPDIR to a folder that can be written.");
}

} // namespace

temp_folder::temp_folder()
{
    std::error_code error;
    const fs::path parent = fs::temp_directory_path(error);
    if (error) {
        refuse(error);
    }
    std::string name = fs::absolute(parent) / "qz_play-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        refuse(std::error_code(errno, std::generic_category()));
    }
    path_ = name;
}

temp_folder::~temp_folder()
{
    remove(path_);
}

void temp_folder::remove(const fs::path& path) noexcept
{
    std::error_code ignored;
    fs::remove_all(path, ignored);
}
