#include "options.h"

#include "completion.h"
#include "exit_status.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace
{

constexpr double longest_fade = 3600;

/// Refuses what no comparison holds for, too.
std::string check_fade(const std::string& text)
{
    double seconds = -1;
    const bool in_range =
        CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= longest_fade;
    return in_range ? "" : "is not a number of seconds from 0 to 3600: " + text;
}

constexpr auto exit_status_help = "Exit status:\n"
                                  "  0  all tracks were played\n"
                                  "  1  wrong usage, or no output to play on\n"
                                  "  2  no track could be played\n"
                                  "  3  some tracks could not be played, or not to their ends\n"
                                  "  4  ended by a signal";

CLI::Option* add_fade(CLI::App& app, const std::string& name, std::chrono::duration<double>& fade,
                      const std::string& description)
{
    const auto take = [&fade](const double& seconds) {
        fade = std::chrono::duration<double>(seconds);
    };
    return app.add_option_function<double>(name, take, description)
        ->type_name("SECONDS")
        ->check(check_fade);
}

void add_options(CLI::App& app, options& chosen)
{
    app.add_option("TRACK", chosen.names,
                   "The files to play; folders, for all that is in them; playlists (.m3u, .m3u8);\n"
                   "- for a list on standard input")
        ->type_name("")
        ->required();
    app.add_option("--volume", chosen.volume, "Volume in percent, 0 to 100")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""))
        ->capture_default_str();
    CLI::Option* fade_in =
        add_fade(app, "--fade-in", chosen.fade_in, "Let each track rise from silence at its start");
    CLI::Option* fade_out =
        add_fade(app, "--fade-out", chosen.fade_out, "Let each track fall to silence at its end");
    CLI::Option* repeat = app.add_flag("--repeat", chosen.repeat, "Play each track over and over");
    CLI::Option* loop =
        app.add_flag("--loop", chosen.loop, "Begin anew behind the last track")->excludes(repeat);
    app.add_flag("--shuffle", chosen.shuffle, "Play the tracks in random order");
    app.add_option("--start", chosen.start, "Begin with the track of this number, counted from 1")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
    app.add_flag_callback(
        "--no-smooth", [&chosen] { chosen.smooth = false; }, "Pause and stop without a short fade");
    app.add_flag_callback(
        "--no-mpris", [&chosen] { chosen.mpris = false; },
        "Stay away from the desktop's media controls");
    app.add_option("--bin-path", chosen.bin_path, "Look for libout123's modules from DIR")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory.description(""));
    CLI::Option* quiet = app.add_flag("-q,--quiet", chosen.quiet, "Tell of errors alone");
    app.add_flag("-v,--verbose", chosen.verbose,
                 "Tell of each change, and let the sound libraries tell what they have to")
        ->excludes(quiet);
    app.add_option("--wav", chosen.wav,
                   "Write the sound into FILE, faster than it sounds;\n"
                   "several tracks go to FILE-1, FILE-2 and so on")
        ->type_name("FILE")
        ->excludes(repeat)
        ->excludes(loop)
        ->excludes(fade_in)
        ->excludes(fade_out);
}

/// For those who build and package, so not told by help.
void add_completion(CLI::App& app)
{
    const auto print = [&app](const std::string& shell) {
        std::cout << (shell == "zsh" ? zsh_completion(app) : bash_completion(app));
        throw CLI::Success();
    };
    app.add_option_function<std::string>("--print-completion", print)
        ->check(CLI::IsMember({"bash", "zsh"}))
        ->group("");
}

} // namespace

std::variant<options, int> parse_options(int argc, char** argv)
{
    options chosen;
    CLI::App app("Plays MPEG audio files one after another.", "qz_play");
    app.set_version_flag("--version", "qz_play " QZ_PLAY_VERSION);
    app.footer(exit_status_help);
    add_options(app, chosen);
    add_completion(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exit_all_played : exit_not_started;
    }
    return chosen;
}
