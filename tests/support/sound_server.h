/// \file
/// \brief A PulseAudio server of a test's own, whose only sink goes nowhere in real time.
#pragma once

#include "program.h"

#include <filesystem>
#include <string>

class sound_server
{
public:
    /// Starts the server in a runtime folder below `folder`, and waits until it answers.
    explicit sound_server(const std::filesystem::path& folder);

    /// The value of XDG_RUNTIME_DIR for its clients.
    [[nodiscard]] std::string runtime_folder() const { return runtime_folder_; }
    [[nodiscard]] std::string socket() const { return runtime_folder_ + "/pulse/native"; }

    /// The command that writes what the sink plays, as 16-bit mono samples at 44.1 kHz.
    static std::vector<std::string> recorder();
    [[nodiscard]] program_settings client_settings() const;

    /// Lets the server do nothing until `go_on`.
    void halt() const;
    void go_on() const;

private:
    std::string runtime_folder_;
    program server_;
};
