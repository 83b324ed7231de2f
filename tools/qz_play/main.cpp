// Connects the playback to the terminal, the session bus and the signals.

#include "display.h"
#include "event_loop.h"
#include "keymap.h"
#include "mpris.h"
#include "options.h"
#include "output_probe.h"
#include "playback.h"
#include "quiet_stderr.h"
#include "signals.h"
#include "status_line.h"
#include "terminal.h"
#include "track_finder.h"
#include "wav_export.h"
#include "worker.h"

#include <algorithm>
#include <clocale>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;

constexpr auto redraw_period = 250ms;

/// Some programs send a signal to their child and then to its process group. Both count as one request.
constexpr auto duplicate_signal_window = 200ms;
constexpr std::size_t neighbours_listed = 5;

verbosity verbosity_of(const options& opts)
{
    return opts.verbose ? verbosity::verbose : (opts.quiet ? verbosity::quiet : verbosity::normal);
}

/// Returns the descriptor of the terminal to read keys from, or -1 if there is none.
int keyboard_of(const options& opts)
{
    const auto& names = opts.names;
    if (std::find(names.begin(), names.end(), list_on_standard_input) != names.end()) {
        return open("/dev/tty", O_RDONLY | O_CLOEXEC);
    }
    return isatty(STDIN_FILENO) != 0 ? STDIN_FILENO : -1;
}

std::vector<std::string> lines_around_current(const playlist& tracks)
{
    const std::size_t current = tracks.current_index();
    const std::size_t first = current - std::min(current, neighbours_listed);
    const std::size_t last = std::min(tracks.size(), current + neighbours_listed + 1);
    std::vector<std::string> lines;
    for (std::size_t index = first; index < last; ++index) {
        lines.push_back((index == current ? "> " : "  ") + std::to_string(index + 1) + "  " +
                        tracks.path(index));
    }
    return lines;
}

class application
{
public:
    /// Changes the environment and starts no thread. Throws `std::exception`.
    explicit application(const options& opts)
        : options_(opts), display_(loop_, verbosity_of(opts)),
          output_(choose_output(opts, module_folder_)), worker_(loop_),
          redraw_(loop_, [this] { refresh(); }),
          signals_(loop_, {[this] { end_by_signal(); }, [this] { suspend(); },
                           [this] { continue_after_stop(); }, [this] { redraw(); }})
    {
        if (!opts.verbose) {
            quiet_stderr_.emplace(loop_);
        }
        if (opts.wav) {
            wav_ = std::make_shared<wav_export>();
        }
        if (opts.bin_path) {
            qz_audio_set_bin_path(*opts.bin_path);
        }
    }

    /// Plays the tracks that the options name. Returns the exit status.
    int run()
    {
        const auto work = [names = options_.names,
                           wav = options_.wav](const cancel_flag& cancelled) {
            search_result all = find_tracks(names, accept::all, cancelled);
            const std::string problem = wav ? overwritten_track(*wav, all.tracks) : "";
            return problem.empty() ? all : search_result{{}, {problem}};
        };
        search_ = worker_.run(work, [this](const search_result& tracks) { start(tracks); });
        loop_.run();
        return exit_status_;
    }

private:
    void start(const search_result& tracks)
    {
        for (const std::string& problem : tracks.problems) {
            display_.print_error(problem);
        }
        const std::size_t count = tracks.tracks.size();
        const std::size_t first = options_.start.value_or(1);
        if (count > 0 && first <= count) {
            play(tracks);
            return;
        }
        if (count > 0) {
            display_.print_error("no track " + std::to_string(first) + ": the last one is " +
                                 std::to_string(count));
        } else if (tracks.problems.empty()) {
            display_.print_error("no tracks in the list");
        }
        loop_.stop();
    }

    void play(const search_result& tracks)
    {
        const auto first =
            options_.start ? std::optional(*options_.start - 1) : std::optional<std::size_t>();
        playback_.emplace(
            loop_, worker_, options_, output_, wav_,
            playlist(tracks.tracks, first, options_.shuffle), tracks.problems.size(),
            playback::listener{[this] { refresh(); },
                               [this](const std::string& text) { display_.print_error(text); },
                               [this](const std::string& text) { display_.print_event(text); },
                               [this](const std::string& text) { display_.show_notice(text); },
                               [this](int status) { end(status); }});
        take_terminal();
        if (options_.mpris && !wav_) {
            mpris_.emplace(loop_, [this](const user_command& wanted) { perform(wanted); });
        }
        playback_->start();
    }

    /// Called only now: while the user types a list on standard input, Ctrl-C and Ctrl-Z must work as usual.
    void take_terminal()
    {
        block_terminal_signals();
        if (const int keyboard = keyboard_of(options_); keyboard >= 0) {
            terminal_.emplace(
                loop_, keyboard, [this](const user_command& wanted) { perform(wanted); },
                [this](const std::string& number) { show_number(number); });
            if (keyboard != STDIN_FILENO) {
                close(keyboard);
            }
        }
    }

    void perform(const user_command& wanted)
    {
        const auto perform_one = [this](const auto& command) {
            using type = std::decay_t<decltype(command)>;
            if constexpr (std::is_same_v<type, command::show_info>) {
                show(info_lines(playback_->take_snapshot()));
            } else if constexpr (std::is_same_v<type, command::show_help>) {
                show(key_help());
            } else if constexpr (std::is_same_v<type, command::show_list>) {
                show(lines_around_current(playback_->tracks()));
            } else {
                playback_->perform(command);
            }
        };
        std::visit(perform_one, wanted);
    }

    void show_number(const std::string& typed)
    {
        if (display_.has_status_line()) {
            display_.show_notice(typed);
        }
    }

    void show(const std::vector<std::string>& lines)
    {
        for (const std::string& line : lines) {
            display_.print_line(line);
        }
        refresh();
    }

    void refresh()
    {
        const snapshot now = playback_->take_snapshot();
        if (playback_->has_begun()) {
            display_.show_status(now);
        }
        if (now.is_advancing && display_.has_status_line()) {
            redraw_.set(event_loop::clock::now() + redraw_period);
        } else {
            redraw_.cancel();
        }
        if (mpris_) {
            mpris_->publish(now);
        }
    }

    /// The size or the contents of the window may have changed.
    void redraw()
    {
        display_.clear_status_line();
        if (playback_) {
            refresh();
        }
    }

    void end(int status)
    {
        exit_status_ = status;
        loop_.stop();
    }

    /// The second signal ends the process at once, even if a thread hangs.
    void end_by_signal()
    {
        const auto now = event_loop::clock::now();
        if (last_end_signal_ && now - *last_end_signal_ < duplicate_signal_window) {
            return;
        }
        if (std::exchange(last_end_signal_, now)) {
            display_.try_erase_status_line();
            restore_terminal();
            module_folder_.remove();
            _exit(exit_by_signal);
        }
        if (playback_) {
            playback_->end_by_signal();
        } else {
            end(exit_by_signal);
        }
    }

    /// Pauses the sound first: a device that runs out of data crackles.
    void suspend()
    {
        if (playback_) {
            playback_->suspend([this] { stop_process(); });
        } else {
            stop_this_process();
        }
    }

    void stop_process()
    {
        display_.clear_status_line();
        if (terminal_) {
            terminal_->release();
        }
        stop_this_process();
        continue_after_stop();
        playback_->resume();
    }

    void continue_after_stop()
    {
        if (terminal_) {
            terminal_->acquire();
        }
        if (playback_) {
            playback_->on_continued();
        }
        redraw();
    }

    const options& options_;
    event_loop loop_;
    display display_;
    std::optional<quiet_stderr> quiet_stderr_;
    temp_folder module_folder_;
    const output_choice output_;
    std::shared_ptr<const wav_export> wav_;
    worker worker_;
    job search_;
    std::optional<playback> playback_;
    std::optional<terminal> terminal_;
    std::optional<mpris> mpris_;
    timer redraw_;
    std::optional<event_loop::clock::time_point> last_end_signal_; ///< When it arrived.
    int exit_status_ = exit_not_started;
    signal_watches signals_;
};

/// Opens /dev/null for each closed standard stream. Otherwise a file opened later could take its descriptor and
/// receive the messages.
void open_closed_standard_streams()
{
    int file = 0;
    do {
        file = open("/dev/null", O_RDWR);
    } while (file >= 0 && file <= STDERR_FILENO);
    close(file);
}

} // namespace

int main(int argc, char** argv)
{
    std::setlocale(LC_CTYPE, ""); // NOLINT(concurrency-mt-unsafe): there is only one thread yet.
    const std::variant<options, int> parsed = parse_options(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) {
        return *status;
    }
    open_closed_standard_streams();
    block_signals();
    handle_crashes(restore_terminal);
    try {
        return application(*std::get_if<options>(&parsed)).run();
    } catch (const std::exception& exception) {
        std::cerr << "qz_play: " << exception.what() << '\n';
        return exit_not_started;
    }
}
