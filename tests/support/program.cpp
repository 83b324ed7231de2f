#include "program.h"

#include "event.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace std::chrono_literals;

namespace
{

using clock = std::chrono::steady_clock;

constexpr uid_t nobody = 65534;

struct channel {
    int ours = -1;
    int theirs = -1;
};

void check(int result)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category());
    }
}

channel open_pipe()
{
    std::array<int, 2> ends{};
    check(pipe2(ends.data(), O_CLOEXEC));
    return {ends[0], ends[1]};
}

channel open_terminal(unsigned short columns)
{
    channel terminal;
    winsize size{};
    size.ws_col = columns;
    size.ws_row = 24;
    check(openpty(&terminal.ours, &terminal.theirs, nullptr, nullptr, &size));
    check(fcntl(terminal.ours, F_SETFD, FD_CLOEXEC));
    check(fcntl(terminal.theirs, F_SETFD, FD_CLOEXEC));
    return terminal;
}

void apply(const program_settings& settings)
{
    for (const auto& [name, value] : settings.environment) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1); // NOLINT(concurrency-mt-unsafe)
        } else {
            unsetenv(name.c_str()); // NOLINT(concurrency-mt-unsafe)
        }
    }
    if (settings.umask) {
        umask(*settings.umask);
    }
    check(chdir(settings.folder.c_str()));
    if (settings.unprivileged) {
        check(setgid(nobody));
        check(setuid(nobody));
    }
}

/// In the child.
[[noreturn]] void run(const std::vector<std::string>& command, const program_settings& settings,
                      int output, int errors)
try {
    apply(settings);
    check(dup2(output, STDOUT_FILENO));
    check(dup2(errors, STDERR_FILENO));
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& argument : command) {
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): exec changes nothing.
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    throw std::system_error(errno, std::generic_category(), command[0]);
} catch (const std::exception& exception) {
    const std::string text = exception.what();
    [[maybe_unused]] const ssize_t written = write(errors, text.data(), text.size());
    _exit(127);
}

} // namespace

program::program(const std::vector<std::string>& command, const program_settings& settings)
{
    const channel output = open_pipe();
    const channel errors = settings.terminal ? open_terminal(settings.columns) : open_pipe();
    const pid_t child = fork();
    check(child);
    if (child == 0) {
        run(command, settings, output.theirs, errors.theirs);
    }
    id_ = child;
    close(output.theirs);
    close(errors.theirs);
    output_.descriptor = output.ours;
    errors_.descriptor = errors.ours;
}

program::~program()
{
    if (running_) {
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    close(output_.descriptor);
    close(errors_.descriptor);
}

void program::send(int signal) const
{
    kill(id_, signal);
}

bool program::wait_for_error_text(const std::string& text)
{
    return read_until([&] { return errors_.text.find(text) != std::string::npos; });
}

bool program::wait_for_output(const std::function<bool(const std::string&)>& enough)
{
    return read_until([&] { return enough(output_.text); });
}

bool program::wait_for_errors(const std::function<bool(const std::string&)>& enough)
{
    return read_until([&] { return enough(errors_.text); });
}

int program::wait_for_exit()
{
    read_until([] { return false; });
    int status = 0;
    const auto ended = [&] { return waitpid(id_, &status, WNOHANG) == id_; };
    if (!wait_until(ended)) {
        ADD_FAILURE() << "the program does not end; it has said:\n" << errors_.text;
        return -1;
    }
    running_ = false;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

/// Returns whether it was enough before the program closed both its streams, or patience ran out.
bool program::read_until(const std::function<bool()>& enough)
{
    const auto deadline = clock::now() + patience;
    while (!enough()) {
        std::array<pollfd, 2> waiting{pollfd{output_.descriptor, POLLIN, 0},
                                      pollfd{errors_.descriptor, POLLIN, 0}};
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - clock::now());
        const bool both_closed = output_.descriptor < 0 && errors_.descriptor < 0;
        if (both_closed || left <= 0ms ||
            poll(waiting.data(), waiting.size(), static_cast<int>(left.count())) <= 0) {
            return false;
        }
        if (waiting[0].revents != 0) {
            read_some(output_);
        }
        if (waiting[1].revents != 0) {
            read_some(errors_);
        }
    }
    return true;
}

void program::read_some(stream& from)
{
    std::array<char, 65536> block{};
    const ssize_t size = read(from.descriptor, block.data(), block.size());
    if (size > 0) {
        from.text.append(block.data(), static_cast<std::size_t>(size));
    } else {
        close(from.descriptor);
        from.descriptor = -1;
    }
}

void run_tool(const std::vector<std::string>& command)
{
    program tool(command, {});
    EXPECT_EQ(tool.wait_for_exit(), 0) << command[0] << ": " << tool.errors();
}
