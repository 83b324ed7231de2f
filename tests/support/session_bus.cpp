#include "session_bus.h"

#include <gtest/gtest.h>

#include <csignal>

session_bus::session_bus(const std::filesystem::path& folder)
    : address_("unix:path=" + (folder / "bus").string()),
      daemon_({"dbus-daemon", "--session", "--nofork", "--print-address", "--address=" + address_},
              {})
{
    const auto line_is_complete = [](const std::string& output) { return !output.empty(); };
    EXPECT_TRUE(daemon_.wait_for_output(line_is_complete)) << "the session bus does not start";
}

void session_bus::end()
{
    daemon_.send(SIGTERM);
    daemon_.wait_for_exit();
}

void session_bus::halt() const
{
    daemon_.send(SIGSTOP);
}

void session_bus::go_on() const
{
    daemon_.send(SIGCONT);
}
