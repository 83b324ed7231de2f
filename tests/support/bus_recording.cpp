#include "bus_recording.h"

#include <gtest/gtest.h>

bus_recording::bus_recording(const std::string& match, const program_settings& settings)
    : settings_(settings),
      monitor_({"dbus-monitor", "--session", match, "interface=test.mark"}, settings_)
{
    // A monitor loses its name once it listens.
    EXPECT_TRUE(comes("member=NameLost")) << "nothing is recorded";
}

bool bus_recording::comes(const std::string& words)
{
    return monitor_.wait_for_output(
        [&](const std::string& output) { return output.find(words) != std::string::npos; });
}

const std::string& bus_recording::text()
{
    program sender({"dbus-send", "--session", "/", "test.mark.Now"}, settings_);
    EXPECT_EQ(sender.wait_for_exit(), 0) << sender.errors();
    EXPECT_TRUE(comes("member=Now"));
    return monitor_.output();
}
