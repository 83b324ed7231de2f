/// \file
/// \brief A D-Bus session bus of a test's own.
#pragma once

#include "program.h"

#include <filesystem>
#include <string>

class session_bus
{
public:
    /// Starts the bus with its socket in `folder`, and waits until it answers.
    explicit session_bus(const std::filesystem::path& folder);

    /// The value of DBUS_SESSION_BUS_ADDRESS for its clients.
    [[nodiscard]] std::string address() const { return address_; }

    /// Ends it, whoever is connected.
    void end();

    /// Lets the bus do nothing until `go_on`.
    void halt() const;
    void go_on() const;

private:
    std::string address_;
    program daemon_;
};
