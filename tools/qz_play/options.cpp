#include "options.h"

#include <CLI/CLI.hpp>

namespace
{

/// Unlike CLI::Range, also rejects NaN.
std::string check_fade(const std::string& text)
{
    constexpr double longest = 3600;
    double seconds = -1;
    const bool is_valid =
        CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= longest;
    return is_valid ? "" : "not a number of seconds from 0 to 3600: " + text;
}

std::string check_wav(const std::string& name)
{
    return name == "-" || name.empty()
               ? "needs the name of a file; the sound cannot go to standard output"
               : "";
}

CLI::Option* add_fade(CLI::App& app, const std::string& name, std::chrono::duration<double>& fade,
                      const std::string& description)
{
    const auto set = [&fade](const double& seconds) {
        fade = std::chrono::duration<double>(seconds);
    };
    return app.add_option_function<double>(name, set, description)
        ->type_name("SECONDS")
        ->check(check_fade);
}

/// Not a vector option: CLI11 would split a value such as "[a,b]". With this "minimum" count it accepts any number.
CLI::Option* add_tracks(CLI::App& app)
{
    const auto ignore = [](const CLI::results_t&) { return true; };
    return app
        .add_option("TRACK", ignore,
                    "Files, folders, playlists (.m3u, .m3u8), or - for a list on standard input")
        ->expected(CLI::detail::expected_max_vector_size, -1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("")
        ->required();
}

void add_sound(CLI::App& app, options& opts)
{
    app.add_option("--volume", opts.volume, "Volume in percent, 0 to 100")
        ->type_name("N")
        ->check(CLI::Range(0, 100).description(""))
        ->capture_default_str();
    CLI::Option* fade_in =
        add_fade(app, "--fade-in", opts.fade_in, "Fade in at the start of each track");
    CLI::Option* fade_out =
        add_fade(app, "--fade-out", opts.fade_out, "Fade out at the end of each track");
    CLI::Option* repeat = app.add_flag_callback(
        "--repeat", [&opts] { opts.loop = loop_mode::track; },
        "Repeat each track until another one is chosen");
    CLI::Option* loop = app.add_flag_callback(
        "--loop", [&opts] { opts.loop = loop_mode::list; }, "Start again after the last track");
    repeat->excludes(loop);
    app.add_option("--wav", opts.wav,
                   "Write the sound to a WAV file, faster than real time;\n"
                   "several tracks go to FILE-1, FILE-2 and so on")
        ->type_name("FILE")
        ->check(check_wav)
        ->excludes(repeat)
        ->excludes(loop)
        ->excludes(fade_in)
        ->excludes(fade_out);
}

void add_program(CLI::App& app, options& opts)
{
    app.add_flag("--shuffle", opts.shuffle, "Play the tracks in random order");
    app.add_option("--start", opts.start, "Start with track number N, counted from 1")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
    app.add_flag_callback(
        "--no-smooth", [&opts] { opts.smooth = false; }, "Pause and stop without a short fade");
    app.add_flag_callback(
        "--no-mpris", [&opts] { opts.mpris = false; },
        "Do not connect to the desktop's media controls");
    app.add_option("--bin-path", opts.bin_path, "Search DIR for libout123's modules first")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory.description(""));
    CLI::Option* quiet = app.add_flag("-q,--quiet", opts.quiet, "Print errors only");
    app.add_flag("-v,--verbose", opts.verbose,
                 "Print every event, and the messages of the sound libraries")
        ->excludes(quiet);
}

constexpr auto exit_status_help = "Exit status:\n"
                                  "  0  no track failed, even if you skipped some or quit\n"
                                  "  1  wrong usage, or no sound output\n"
                                  "  2  no track could be played\n"
                                  "  3  some tracks could not be played, or not to the end\n"
                                  "  4  ended by a signal";

} // namespace

std::variant<options, int> parse_options(int argc, const char* const* argv)
{
    options opts;
    CLI::App app("Plays MPEG audio files one after another.", "qz_play");
    app.set_version_flag("--version", "qz_play " QZ_PLAY_VERSION);
    app.footer(exit_status_help);
    const CLI::Option* tracks = add_tracks(app);
    add_sound(app, opts);
    add_program(app, opts);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? exit_all_played : exit_not_started;
    }
    opts.names = tracks->results();
    return opts;
}
