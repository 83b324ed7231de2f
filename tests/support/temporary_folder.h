/// \file
/// \brief A folder of a test's own.
#pragma once

#include <filesystem>
#include <string>

/// Is there, with all that is put into it, while this lives.
class temporary_folder
{
public:
    /// Its name begins with `prefix`.
    explicit temporary_folder(const std::string& prefix);
    ~temporary_folder();
    temporary_folder(const temporary_folder&) = delete;
    temporary_folder& operator=(const temporary_folder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};
