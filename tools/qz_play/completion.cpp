#include "completion.h"

#include <CLI/CLI.hpp>

#include <vector>

namespace
{

using names = std::vector<std::string>;

std::string joined(const names& parts, const std::string& separator)
{
    std::string text;
    for (const std::string& part : parts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

/// As they are typed, short ones first.
names names_of(const CLI::Option& option)
{
    names all;
    for (const std::string& name : option.get_snames()) {
        all.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        all.push_back("--" + name);
    }
    return all;
}

/// Those that help tells, too; what is no option is a track.
std::vector<const CLI::Option*> options_of(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) {
        return !option->get_group().empty() && !names_of(*option).empty();
    });
}

/// What is to be completed behind an option: files and folders stand for themselves.
enum class value { none, file, folder, other };

value value_of(const CLI::Option& option)
{
    if (option.get_expected_max() == 0) {
        return value::none;
    }
    const std::string type = option.get_type_name();
    return type == "FILE" ? value::file : type == "DIR" ? value::folder : value::other;
}

template <class Predicate>
names names_where(const CLI::App& app, Predicate wanted)
{
    names all;
    for (const CLI::Option* option : options_of(app)) {
        if (wanted(*option)) {
            const names more = names_of(*option);
            all.insert(all.end(), more.begin(), more.end());
        }
    }
    return all;
}

std::string pattern_of(const CLI::App& app, value kind)
{
    return joined(
        names_where(app, [kind](const CLI::Option& option) { return value_of(option) == kind; }),
        "|");
}

/// For a place between single quotes, in which brackets and colons mean something to zsh.
std::string zsh_text(const std::string& text)
{
    std::string quoted;
    for (const char letter : text) {
        if (letter == '\'') {
            quoted += "'\\''";
        } else if (letter == '\n') {
            quoted += ' ';
        } else {
            quoted +=
                std::string(letter == '[' || letter == ']' || letter == ':' ? "\\" : "") + letter;
        }
    }
    return quoted;
}

std::string zsh_value(const CLI::Option& option)
{
    switch (value_of(option)) {
    case value::none:
        return "";
    case value::file:
        return ":file:_files";
    case value::folder:
        return ":folder:_files -/";
    case value::other:
        return ":" + zsh_text(option.get_type_name()) + ":";
    }
    return "";
}

/// Of the names of one option, each shuts the others out.
std::string zsh_lines(const CLI::Option& option)
{
    const names all = names_of(option);
    const std::string rest =
        "[" + zsh_text(option.get_description()) + "]" + zsh_value(option) + "' \\\n";
    std::string lines;
    for (const std::string& name : all) {
        const bool is_long = name.rfind("--", 0) == 0;
        const char* const sign = value_of(option) != value::none && is_long ? "=" : "";
        lines.append("    '(").append(joined(all, " ")).append(")");
        lines.append(name).append(sign).append(rest);
    }
    return lines;
}

} // namespace

std::string bash_completion(const CLI::App& app)
{
    const names all = names_where(app, [](const CLI::Option&) { return true; });
    return R"(_qz_play()
{
    local current=${COMP_WORDS[COMP_CWORD]}
    case ${COMP_WORDS[COMP_CWORD - 1]} in
    )" + pattern_of(app, value::folder) +
           R"()
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    )" + pattern_of(app, value::other) +
           R"()
        COMPREPLY=()
        return
        ;;
    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W ")" +
           joined(all, " ") + R"(" -- "$current")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}
complete -o filenames -F _qz_play qz_play
)";
}

std::string zsh_completion(const CLI::App& app)
{
    std::string script = "#compdef qz_play\n_arguments -S \\\n";
    for (const CLI::Option* option : options_of(app)) {
        script += zsh_lines(*option);
    }
    return script + "    '*:track:_files'\n";
}
