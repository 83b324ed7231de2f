#include "exit_status.h"
#include "failures.h"
#include "options.h"
#include "output/chatter.h"
#include "playlist/collect.h"
#include "remote/remote.h"
#include "session/session.h"
#include "session/signals.h"
#include "temp_folder.h"
#include "terminal/display.h"
#include "terminal/keyboard.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <utility>

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

display::amount amount_to_tell(const options& chosen)
{
    if (chosen.verbose) {
        return display::amount::all;
    }
    return chosen.quiet ? display::amount::errors : display::amount::usual;
}

track_list tracks_to_play(const options& chosen)
{
    const std::vector<std::string> paths = collect_tracks(chosen.names, std::cin);
    const std::size_t count = paths.size();
    if (count == 0) {
        throw startup_failure("there is no track in the list; name at least one.");
    }
    if (chosen.start.value_or(1) > count) {
        throw startup_failure("there is no track " + std::to_string(*chosen.start) +
                              " to start with; the last one is " + std::to_string(count) + ".");
    }
    std::random_device random;
    const std::size_t any = chosen.shuffle ? random() % count : 0;
    track_list tracks(paths, chosen.start ? *chosen.start - 1 : any, random());
    tracks.set_shuffle(chosen.shuffle);
    return tracks;
}

/// Returns the terminal to read keys from, also where a list comes by standard input; -1 for none.
int terminal_with_keys(const options& chosen)
{
    const auto& names = chosen.names;
    if (std::find(names.begin(), names.end(), list_on_standard_input) != names.end()) {
        return open("/dev/tty", O_RDONLY | O_CLOEXEC);
    }
    return isatty(STDIN_FILENO) != 0 ? STDIN_FILENO : -1;
}

int play(const options& chosen, display& screen)
{
    // Whoever waits for a list, as from a keyboard, can still end and stop the program the usual way.
    track_list tracks = tracks_to_play(chosen);
    block_watched_signals();
    // A reader that has gone away, be it of the messages or of the sound, ends no track.
    std::signal(SIGPIPE, SIG_IGN);
    const temp_folder folder;
    const auto events = std::make_shared<event_queue>();
    watch_signals(events, [path = folder.path(), erase_live_line = screen.last_erasure()] {
        erase_live_line();
        restore_terminal();
        temp_folder::remove(path);
    });
    session run(chosen, std::move(tracks), folder, events, screen);
    std::optional<keyboard> keys;
    if (const int terminal = terminal_with_keys(chosen); terminal >= 0) {
        keys.emplace(terminal, events);
        run.on_suspension([&keys] { keys->release(); }, [&keys] { keys->take(); });
    }
    remote others(events);
    if (chosen.mpris && !chosen.wav) {
        run.on_change([&others](const snapshot& now) { others.publish(now); });
    }
    return run.run();
}

} // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): there is one thread yet.
    const std::variant<options, int> parsed = parse_options(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    fill_standard_streams();
    const auto& chosen = *std::get_if<options>(&parsed);
    display screen(amount_to_tell(chosen));
    std::optional<hidden_chatter> hidden;
    if (!chosen.verbose) {
        hidden.emplace();
    }
    try {
        return play(chosen, screen);
    } catch (const std::exception& exception) {
        screen.error(exception.what());
        return exit_not_started;
    }
}
