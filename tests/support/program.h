/// \file
/// \brief A program that a test runs as a child process.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

struct program_settings {
    /// Changes to this process's environment; nothing stands for an unset variable.
    std::map<std::string, std::optional<std::string>> environment;
    std::string folder = "."; ///< To run in.
    bool terminal = false;    ///< Standard error is a terminal of 60 columns, or else a pipe.
    unsigned short columns = 60;
    bool unprivileged = false; ///< To run as nobody; only root can ask for it.
    std::optional<mode_t> umask;
};

/// Every wait ends when patience runs out, with a failure of the test.
class program
{
public:
    program(const std::vector<std::string>& command, const program_settings& settings);

    /// Kills it if it still runs.
    ~program();

    program(const program&) = delete;
    program& operator=(const program&) = delete;

    [[nodiscard]] pid_t id() const { return id_; }
    void send(int signal) const;

    /// Reads on until `text` stands in standard error; returns whether it came.
    bool wait_for_error_text(const std::string& text);

    /// Read on until `enough` says so of the stream; return whether it did.
    bool wait_for_output(const std::function<bool(const std::string&)>& enough);
    bool wait_for_errors(const std::function<bool(const std::string&)>& enough);

    /// Reads to the end and returns the exit status: that of exit(), or 128 and the signal's number.
    int wait_for_exit();

    [[nodiscard]] const std::string& output() const { return output_.text; }
    [[nodiscard]] const std::string& errors() const { return errors_.text; }

private:
    struct stream {
        int descriptor = -1;
        std::string text;
    };

    bool read_until(const std::function<bool()>& enough);
    static void read_some(stream& from);

    pid_t id_ = -1;
    bool running_ = true;
    stream output_;
    stream errors_;
};

/// Runs it to its end; fails when its exit status is not zero.
void run_tool(const std::vector<std::string>& command);
