#include "process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <system_error>

#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#else
#define RUNNING_ON_VALGRIND 0
#endif

namespace fs = std::filesystem;

namespace
{

std::size_t files_in(const fs::path& folder)
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

std::string describe_end(int status)
{
    return WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                               : "exit " + std::to_string(WEXITSTATUS(status));
}

/// Standard output to nowhere.
class silenced
{
public:
    silenced()
    {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    }
    ~silenced() { posix_spawn_file_actions_destroy(&actions_); }
    silenced(const silenced&) = delete;
    silenced& operator=(const silenced&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

} // namespace

bool is_slowed_down()
{
#if defined(__SANITIZE_THREAD__)
    return true; // It lets the threads run on for a second before the process ends.
#else
    return RUNNING_ON_VALGRIND != 0;
#endif
}

std::size_t thread_count()
{
    return files_in("/proc/self/task");
}

std::size_t threads_named(const std::string& name)
{
    std::size_t count = 0;
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::string found;
        std::getline(std::ifstream(task.path() / "comm"), found);
        if (found == name) {
            ++count;
        }
    }
    return count;
}

std::size_t descriptor_count()
{
    return files_in("/proc/self/fd");
}

pid_t thread_id()
{
    return gettid();
}

long sleeps_of(pid_t thread)
{
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    std::string word;
    while (status >> word && word != "voluntary_ctxt_switches:") {
    }
    long count = -1;
    status >> count;
    return count;
}

std::vector<std::string> mapped_files()
{
    std::vector<std::string> files;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (const auto name = line.find('/'); name != std::string::npos) {
            files.push_back(line.substr(name));
        }
    }
    return files;
}

fs::path program_folder()
{
    return fs::read_symlink("/proc/self/exe").parent_path();
}

std::string run_program(const std::string& name, const std::vector<std::string>& arguments)
{
    std::vector<std::string> words{program_folder() / name};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    argv.reserve(words.size() + 1);
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);

    const silenced actions;
    pid_t child = 0;
    const int error = posix_spawn(&child, argv[0], actions.get(), nullptr, argv.data(), environ);
    if (error != 0) {
        return name + ": " + std::generic_category().message(error);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return describe_end(status);
}
