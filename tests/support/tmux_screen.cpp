#include "tmux_screen.h"

#include "event.h"

#include <gtest/gtest.h>

tmux_screen::tmux_screen(const std::string& folder, const program_settings& settings)
    : socket_(folder + "/tmux")
{
    std::vector<std::string> command{"env"};
    for (const auto& [name, value] : settings.environment) {
        if (!value) {
            command.insert(command.begin() + 1, {"-u", name});
        } else {
            command.push_back(name + "=" + *value);
        }
    }
    const std::vector<std::string> start = tmux(
        {"-f", "/dev/null", "new-session", "-d", "-x", "80", "-y", "24", "PS1='$ ' exec dash -i"});
    command.insert(command.end(), start.begin(), start.end());
    run_tool(command);
    EXPECT_TRUE(shows("$"));
}

tmux_screen::~tmux_screen()
{
    run_tool(tmux({"kill-server"}));
}

void tmux_screen::type(const std::string& text) const
{
    run_tool(tmux({"send-keys", "-l", "--", text}));
}

void tmux_screen::press(const std::string& key) const
{
    run_tool(tmux({"send-keys", key}));
}

void tmux_screen::enter(const std::string& command) const
{
    type(command);
    press("Enter");
}

void tmux_screen::resize(unsigned columns) const
{
    run_tool(tmux({"resize-window", "-x", std::to_string(columns), "-y", "24"}));
}

void tmux_screen::close() const
{
    run_tool(tmux({"new-window", "-d", "sleep", "infinity"}));
    run_tool(tmux({"kill-window", "-t", "0"}));
}

std::string tmux_screen::text() const
{
    return answer({"capture-pane", "-p"});
}

bool tmux_screen::sends_usual_keys() const
{
    return answer({"display-message", "-p", "#{keypad_cursor_flag}#{keypad_flag}"}) == "00\n";
}

bool tmux_screen::shows(const std::string& text) const
{
    const bool came = wait_until([&] { return this->text().find(text) != std::string::npos; });
    EXPECT_TRUE(came) << text << " is not on the screen:\n" << this->text();
    return came;
}

bool tmux_screen::loses(const std::string& text) const
{
    const bool gone = wait_until([&] { return this->text().find(text) == std::string::npos; });
    EXPECT_TRUE(gone) << text << " is still on the screen:\n" << this->text();
    return gone;
}

std::vector<std::string> tmux_screen::tmux(std::vector<std::string> arguments) const
{
    arguments.insert(arguments.begin(), {"tmux", "-u", "-S", socket_});
    return arguments;
}

std::string tmux_screen::answer(const std::vector<std::string>& question) const
{
    program client(tmux(question), {});
    EXPECT_EQ(client.wait_for_exit(), 0);
    return client.output();
}
