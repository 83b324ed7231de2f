#include "terminal.h"

#include "pseudo_terminal.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <optional>
#include <vector>

#include <sys/ioctl.h>
#include <sys/resource.h>

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;

namespace
{

class terminal_keys : public ::testing::Test
{
protected:
    void open()
    {
        keys.emplace(
            *loop, window.descriptor(),
            [this](const user_command& given) { commands.push_back(given); },
            [this](const std::string& number) { numbers.push_back(number); });
    }

    /// Waits for a command of this kind.
    template <class Command>
    bool gets()
    {
        return run_until(*loop, [this] {
            return !commands.empty() && std::holds_alternative<Command>(commands.back());
        });
    }

    /// Returns whether there is nothing to do for a while.
    bool is_idle() { return sd_event_run(loop->handle(), 50'000) == 0; }

    std::optional<event_loop> loop{std::in_place};
    pseudo_terminal window;
    std::vector<user_command> commands;
    std::vector<std::string> numbers;
    std::optional<terminal> keys;
};

using terminal_keys_death_test = terminal_keys;

} // namespace

TEST_F(terminal_keys, change_the_mode_while_they_are_read)
{
    open();
    EXPECT_TRUE(window.is_raw());
    keys->release();
    EXPECT_FALSE(window.is_raw());
    window.type("n\n");
    EXPECT_TRUE(is_idle());
    keys->acquire();
    EXPECT_TRUE(window.is_raw());
    EXPECT_TRUE(gets<command::next>());
    restore_terminal();
    EXPECT_FALSE(window.is_raw());
    keys->acquire();
    keys.reset();
    EXPECT_FALSE(window.is_raw());
}

TEST_F(terminal_keys, leave_a_mode_that_others_have_changed_meanwhile)
{
    open();
    keys->release();
    termios mode{};
    tcgetattr(window.descriptor(), &mode);
    mode.c_cc[VEOF] = 'x';
    tcsetattr(window.descriptor(), TCSANOW, &mode);
    keys->acquire();
    keys.reset();
    tcgetattr(window.descriptor(), &mode);
    EXPECT_EQ(mode.c_cc[VEOF], 'x');
}

TEST_F(terminal_keys, of_a_number_are_shown_and_dropped_when_none_follows)
{
    open();
    window.type("12\n");
    EXPECT_TRUE(gets<command::jump>());
    EXPECT_EQ(std::get<command::jump>(commands.back()).number, 12U);
    EXPECT_THAT(numbers, ElementsAre("1", "12", ""));
    window.type("1");
    EXPECT_TRUE(run_until(*loop, [this] { return numbers.size() == 5; }));
    window.type("\nq");
    EXPECT_TRUE(gets<command::quit>());
    EXPECT_THAT(numbers, ElementsAre("1", "12", "", "1", ""));
    EXPECT_EQ(commands.size(), 2U);
}

TEST_F(terminal_keys, of_a_sequence_that_does_not_end_are_dropped)
{
    open();
    window.type("\x1b]");
    EXPECT_TRUE(run_until(*loop, [this] {
        sd_event_run(loop->handle(), 100'000);
        window.type("q");
        return !commands.empty();
    }));
}

TEST_F(terminal_keys, end_with_the_terminal)
{
    open();
    window.hang_up();
    EXPECT_TRUE(run_until(*loop, [this] { return is_idle(); }));
    keys->acquire();
    EXPECT_TRUE(is_idle());
}

TEST_F(terminal_keys_death_test, belong_to_the_job_in_the_foreground)
{
    const auto check = [this] {
        loop.emplace(); // A loop is of one process.
        std::signal(SIGTTOU, SIG_IGN);
        std::signal(SIGTTIN, SIG_IGN);
        setsid();
        ioctl(window.descriptor(), TIOCSCTTY, 0);
        const pid_t other = fork();
        if (other == 0) {
            pause();
        }
        setpgid(other, other);
        const auto give_to = [this](pid_t job) { tcsetpgrp(window.descriptor(), job); };
        give_to(other);
        open();
        const bool waits = !window.is_raw();
        keys->release();
        keys->acquire();
        give_to(getpgrp());
        const bool enters = run_until(*loop, [this] { return window.is_raw(); });
        give_to(other);
        window.type("q");
        run_until(*loop, [this] { return is_idle(); });
        const bool leaves_key = commands.empty();
        give_to(getpgrp());
        const bool reads = gets<command::quit>();
        give_to(other);
        keys.reset();
        const bool leaves_mode = window.is_raw();
        kill(other, SIGKILL);
        std::_Exit(waits && enters && leaves_key && reads && leaves_mode ? 0 : 1);
    };
    EXPECT_EXIT(check(), ExitedWithCode(0), "");
}

TEST_F(terminal_keys_death_test, leave_the_mode_if_their_set_up_fails)
{
    const auto check = [this] {
        loop.emplace();
        for (int count = 0; count < 3; ++count) {
            const rlimit few{static_cast<rlim_t>(dup(0)) + 1, 1024};
            setrlimit(RLIMIT_NOFILE, &few);
            try {
                open();
            } catch (const std::system_error&) {
                std::_Exit(window.is_raw() ? 1 : 0);
            }
        }
        std::_Exit(2);
    };
    EXPECT_EXIT(check(), ExitedWithCode(0), "");
}
