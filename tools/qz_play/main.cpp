#include "display.h"
#include "exit_status.h"
#include "options.h"
#include "session.h"
#include "signals.h"
#include "temp_folder.h"

#include <csignal>
#include <exception>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

namespace
{

/// Fills what is closed of the standard streams: a file that took such a place would get the messages.
void fill_standard_streams()
{
    int file = 0;
    do {
        file = open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    close(file);
}

int play(const options& chosen, display& screen)
{
    block_end_signals();
    // A reader that has gone away, be it of the messages or of the sound, ends no track.
    std::signal(SIGPIPE, SIG_IGN);
    const temp_folder folder;
    const auto events = std::make_shared<event_queue>();
    watch_end_signals(events, [path = folder.path()] { temp_folder::remove(path); });
    return session(chosen, folder, events, screen).run();
}

} // namespace

int main(int argc, char** argv)
{
    const std::variant<options, int> parsed = parse_options(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    fill_standard_streams();
    display screen;
    try {
        return play(std::get<options>(parsed), screen);
    } catch (const std::exception& exception) {
        screen.error(exception.what());
        return exit_not_started;
    }
}
