#include "mpris.h"

#include "event.h"
#include "pseudo_terminal.h"
#include "session_bus.h"
#include "temporary_folder.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <stdexcept>
#include <vector>

using ::testing::IsEmpty;

namespace
{

/// This process as a player, on a bus of its own.
class mpris_on_bus : public ::testing::Test
{
protected:
    mpris_on_bus()
    {
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    }

    static std::string names_on_bus()
    {
        program client({"playerctl", "-l"}, {});
        client.wait_for_exit();
        return client.output();
    }

    /// Returns another program, which waits for the reply.
    static program call(const std::string& method, const std::vector<std::string>& arguments = {})
    {
        std::vector<std::string> command{"busctl",
                                         "--user",
                                         "call",
                                         "org.mpris.MediaPlayer2.qz_play",
                                         "/org/mpris/MediaPlayer2",
                                         "org.mpris.MediaPlayer2.Player",
                                         method};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return {command, {}};
    }

    /// Waits until other programs see the player.
    void join()
    {
        now.state = play_state::playing;
        now.path = "/track.mp3";
        player->publish(now);
        EXPECT_TRUE(run_until(*loop, [] { return names_on_bus() == "qz_play\n"; }));
    }

    command::open take_open()
    {
        EXPECT_TRUE(run_until(*loop, [this] { return !commands.empty(); }));
        return std::get<command::open>(commands.at(0));
    }

    bool becomes_idle()
    {
        return run_until(*loop, [this] { return sd_event_run(loop->handle(), 100'000) == 0; });
    }

    /// Ends as the program does.
    void end()
    {
        player.reset();
        loop.reset();
    }

    temporary_folder folder{"mpris"};
    session_bus bus{folder.path()};
    snapshot now;
    std::unique_ptr<event_loop> loop = std::make_unique<event_loop>();
    std::vector<user_command> commands;
    std::unique_ptr<mpris> player = std::make_unique<mpris>(
        *loop, [this](const user_command& wanted) { commands.push_back(wanted); });
};

} // namespace

TEST_F(mpris_on_bus, leaves_the_bus_in_spite_of_an_open_without_an_answer)
{
    join();
    const program client = call("OpenUri", {"s", "file:///a.mp3"});
    const command::open wanted = take_open();
    end();
    EXPECT_THAT(names_on_bus(), IsEmpty());
    wanted.reply("");
}

TEST_F(mpris_on_bus, takes_an_answer_to_an_open_when_the_bus_is_gone)
{
    join();
    const program client = call("OpenUri", {"s", "file:///a.mp3"});
    const command::open wanted = take_open();
    bus.end();
    EXPECT_TRUE(becomes_idle());
    wanted.reply("It is too late.");
    EXPECT_TRUE(becomes_idle());
}

TEST_F(mpris_on_bus, ends_the_loop_when_a_command_throws)
{
    player = std::make_unique<mpris>(*loop,
                                     [](const user_command&) { throw std::out_of_range("a bug"); });
    join();
    const program client = call("Next");
    EXPECT_THROW(loop->run(), std::out_of_range);
}

TEST_F(mpris_on_bus, does_not_wait_for_a_bus_that_takes_no_more)
{
    constexpr std::size_t more_than_a_socket_holds = 20 << 20; // sd-bus sets 8 MiB.
    join();
    bus.halt();
    now.title = std::string(more_than_a_socket_holds, 'a');
    player->publish(now);
    EXPECT_TRUE(becomes_idle());
    end();
    bus.go_on();
    EXPECT_TRUE(wait_until([] { return names_on_bus().empty(); }));
}
