/// \file
/// \brief A folder for the life of the process.
#pragma once

#include <filesystem>

/// Makes a new folder that only this user can enter, and removes it with all that it holds.
class temp_folder
{
public:
    /// Throws `startup_failure`.
    temp_folder();
    ~temp_folder();

    temp_folder(const temp_folder&) = delete;
    temp_folder& operator=(const temp_folder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    static void remove(const std::filesystem::path& path) noexcept;

private:
    std::filesystem::path path_;
};
