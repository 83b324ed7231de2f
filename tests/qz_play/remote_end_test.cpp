#include "bus_recording.h"
#include "remote/remote.h"
#include "session_bus.h"
#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>

using ::testing::HasSubstr;
using ::testing::Not;

namespace
{

constexpr auto name = "org.mpris.MediaPlayer2.qz_play";

/// This process on a bus, as its session has it.
class remote_end : public ::testing::Test
{
protected:
    remote_end()
    {
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    }

    static snapshot in_state(play_state state)
    {
        snapshot now;
        now.state = state;
        now.path = "/track.mp3";
        return now;
    }

    [[nodiscard]] static std::string names_on_bus()
    {
        program client({"playerctl", "-l"}, {});
        client.wait_for_exit();
        return client.output();
    }

private:
    temporary_folder folder_{"remote_end"};

protected:
    session_bus bus{folder_.path()};
};

} // namespace

TEST_F(remote_end, takes_the_name_off_the_bus_while_the_process_lives_on)
{
    bus_recording recording("member=NameOwnerChanged", {});
    {
        remote others(std::make_shared<event_queue>());
        others.publish(in_state(play_state::playing));
        EXPECT_TRUE(recording.comes(name));
        EXPECT_EQ(names_on_bus(), "qz_play\n");
    }
    EXPECT_EQ(names_on_bus(), "");
}

TEST_F(remote_end, leaves_a_bus_behind_that_takes_no_more)
{
    constexpr std::size_t more_than_a_socket_holds = 64 << 20;
    bus_recording recording("member=NameOwnerChanged", {});
    remote others(std::make_shared<event_queue>());
    snapshot now = in_state(play_state::playing);
    others.publish(now);
    EXPECT_TRUE(recording.comes(name));
    bus.halt();
    now.title = std::string(more_than_a_socket_holds, 'a');
    others.publish(now);
} // The end of `others` must not wait for the bus.

TEST_F(remote_end, has_not_joined_the_bus_where_nothing_has_sounded)
{
    bus_recording recording("member=NameOwnerChanged", {});
    {
        remote others(std::make_shared<event_queue>());
        others.publish(in_state(play_state::stopped));
    }
    EXPECT_THAT(recording.text(), Not(HasSubstr(name)));
}
