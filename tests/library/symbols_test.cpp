#include "process.h"

#include <boost/core/demangle.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;
using texts = std::vector<std::string>;

namespace
{

fs::path library(const std::string& name)
{
    return program_folder() / "../lib" / name;
}

fs::path player_library()
{
    return library("libqz_audio.so.1");
}

fs::path system_library()
{
    return library("libqz_system.so.1");
}

/// All that the project ships and this build has made.
std::vector<fs::path> shipped_files()
{
    std::vector<fs::path> files{player_library(), system_library()};
    if (const fs::path program = program_folder() / "qz_play"; fs::exists(program)) {
        files.push_back(program);
    }
    return files;
}

std::string output_of(const std::string& command)
{
    std::FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 4096> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), pipe)) {
        output.append(block.data(), size);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

/// A line of the dynamic symbol table.
struct symbol {
    char kind;
    std::string name; ///< As it stands there, with its version if it has one.
};

std::vector<symbol> symbols_of(const fs::path& file, const std::string& which)
{
    std::istringstream lines(output_of("nm -D -P " + which + " '" + file.string() + "'"));
    std::vector<symbol> symbols;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        symbol read{};
        words >> read.name >> read.kind;
        symbols.push_back(read);
    }
    return symbols;
}

/// "qz_audio_new" for what the compiler makes of it.
std::string plain_name(const symbol& mangled)
{
    const std::string name = boost::core::demangle(mangled.name.c_str());
    return name.substr(0, name.find_first_of("[("));
}

texts plain_names(const std::vector<symbol>& symbols)
{
    texts names;
    std::transform(symbols.begin(), symbols.end(), std::back_inserter(names), plain_name);
    return names;
}

/// The values of the dynamic section's entries of a kind: "NEEDED", "SONAME", ...
texts dynamic_entries(const fs::path& file, const std::string& kind)
{
    const std::string table = output_of("readelf -dW '" + file.string() + "'");
    const std::regex entry("\\(" + kind + "\\)[^\\[\n]*\\[([^\\]]*)\\]");
    texts values;
    for (std::sregex_iterator found(table.begin(), table.end(), entry), end; found != end;
         ++found) {
        values.push_back((*found)[1]);
    }
    return values;
}

texts split(const std::string& text, char separator)
{
    texts parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

bool starts_with_any(const std::string& text, const texts& starts)
{
    return std::any_of(starts.begin(), starts.end(),
                       [&text](const auto& start) { return text.rfind(start, 0) == 0; });
}

/// Whether the symbol is the standard libraries' or the compiler's.
bool is_of_the_toolchain(const std::string& name)
{
    const auto version = name.find('@');
    return starts_with_any(name, {"_ITM_", "__gmon_start__"}) ||
           (version != std::string::npos &&
            starts_with_any(name.substr(version), {"@GLIBC_", "@GLIBCXX_", "@CXXABI_", "@GCC_"}));
}

texts undefined_symbols_of_others(const fs::path& file)
{
    texts names;
    for (const symbol& each : symbols_of(file, "--undefined-only")) {
        if (!is_of_the_toolchain(each.name)) {
            names.push_back(each.name);
        }
    }
    return names;
}

std::string bytes_of(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

const texts player_functions{
    "qz_audio_new",
    "qz_audio_destroy",
    "qz_audio_set_bin_path",
    "qz_audio_get_bin_path",
    "qz_audio_open",
    "qz_audio_set_audio_track",
    "qz_audio_play",
    "qz_audio_pause",
    "qz_audio_stop",
    "qz_audio_set_volume",
    "qz_audio_volume_increment_timeout_start",
    "qz_audio_volume_decrement_timeout_start",
    "qz_audio_set_repeat",
    "qz_audio_get_playback_status",
    "qz_audio_get_current_track",
    "qz_audio_get_last_error_string",
    "qz_audio_on_status_change",
    "qz_audio_on_error",
    "qz_audio_on_volume_change",
    "qz_audio_set_audio_volume_increment_step",
    "qz_audio_set_audio_volume_decrement_step",
    "qz_audio_set_audio_volume_increment_timeout",
    "qz_audio_set_audio_volume_decrement_timeout",
};

/// A constructor stands there twice, a virtual destructor three times.
const texts system_functions{
    "_qz_object::_qz_object",
    "_qz_object::_qz_object",
    "_qz_object::~_qz_object",
    "_qz_object::~_qz_object",
    "_qz_object::~_qz_object",
    "_qz_object::describe",
    "_qz_object::is_reffed",
    "_qz_object::property_lock",
    "_qz_object::property_unlock",
    "qz_assertion_faild",
    "qz_object_ref",
    "qz_object_ref_decrement",
    "qz_object_ref_increment",
    "qz_object_unref_real",
    "qz_property_get",
    "qz_system_service_exec",
    "qz_thread_service_clear_interval",
    "qz_thread_service_exec",
    "qz_thread_service_new",
    "qz_thread_service_run_one_only",
    "qz_thread_service_set_interval",
    "qz_thread_service_stop",
    "qz_thread_service_to_object",
};

/// What the player may call of its decoder and its output. The libraries' headers turn two names into
/// others.
const texts decoder_and_output_functions{
    "mpg123_init",      "mpg123_exit",     "mpg123_new",     "mpg123_param2",      "mpg123_open",
    "mpg123_getformat", "mpg123_read",     "mpg123_seek",    "mpg123_format_none", "mpg123_format",
    "mpg123_outblock",  "mpg123_volume",   "mpg123_errcode", "mpg123_strerror",    "mpg123_close",
    "mpg123_delete",    "out123_new",      "out123_param2",  "out123_open",        "out123_start",
    "out123_getformat", "out123_pause",    "out123_play",    "out123_drop",        "out123_stop",
    "out123_errcode",   "out123_strerror", "out123_del",
};

std::vector<symbol> of_kind(std::vector<symbol> symbols, bool functions)
{
    symbols.erase(
        std::remove_if(symbols.begin(), symbols.end(),
                       [=](const symbol& each) { return (each.kind == 'T') != functions; }),
        symbols.end());
    return symbols;
}

} // namespace

TEST(ExportsTest, OfThePlayerAreItsFunctionsAlone)
{
    const auto exported = symbols_of(player_library(), "--defined-only");
    EXPECT_THAT(plain_names(of_kind(exported, true)), UnorderedElementsAreArray(player_functions));
    EXPECT_THAT(plain_names(of_kind(exported, false)), IsEmpty());
}

TEST(ExportsTest, OfTheSystemLibraryAreItsInterfaceAlone)
{
    const auto exported = symbols_of(system_library(), "--defined-only");
    EXPECT_THAT(plain_names(of_kind(exported, true)), UnorderedElementsAreArray(system_functions));
    const auto data = of_kind(exported, false);
    EXPECT_THAT(plain_names(data),
                UnorderedElementsAre("typeinfo for _qz_object", "typeinfo name for _qz_object",
                                     "vtable for _qz_object"));
    // The compiler makes a class's data weak ('V'); unique ones ('u') would forbid unloading.
    for (const symbol& each : data) {
        EXPECT_THAT(each.kind, AnyOf('V', 'D', 'R')) << each.name;
    }
}

TEST(ExportsTest, BearNoVersions)
{
    for (const fs::path& file : {player_library(), system_library()}) {
        EXPECT_THAT(output_of("readelf -VW '" + file.string() + "'"),
                    Not(HasSubstr("Version definition")))
            << file;
    }
}

TEST(ImportsTest, OfThePlayerAreItsNeighboursInterfaces)
{
    texts allowed = decoder_and_output_functions;
    for (const symbol& each : symbols_of(system_library(), "--defined-only")) {
        allowed.push_back(each.name);
    }
    const texts imported = undefined_symbols_of_others(player_library());
    EXPECT_THAT(imported, Contains("mpg123_open"));
    for (const std::string& name : imported) {
        EXPECT_THAT(allowed, Contains(name));
    }
}

TEST(ImportsTest, OfTheSystemLibraryAreTheToolchainsAlone)
{
    EXPECT_THAT(undefined_symbols_of_others(system_library()), IsEmpty());
}

TEST(ImportsTest, NeededLibrariesAreTheNeighboursAndTheToolchains)
{
    const testing::Matcher<std::string> toolchain =
        testing::MatchesRegex(R"((libstdc\+\+|libgcc_s|libc|libm|ld-linux.*)\.so\.[0-9]+)");
    EXPECT_THAT(dynamic_entries(system_library(), "NEEDED"), Each(toolchain));
    const texts needed = dynamic_entries(player_library(), "NEEDED");
    EXPECT_THAT(needed,
                testing::IsSupersetOf({"libqz_system.so.1", "libmpg123.so.0", "libout123.so.0"}));
    EXPECT_THAT(needed,
                Each(AnyOf("libqz_system.so.1", "libmpg123.so.0", "libout123.so.0", toolchain)));
}

TEST(FilesTest, BearTheirSonames)
{
    EXPECT_THAT(dynamic_entries(player_library(), "SONAME"), ElementsAre("libqz_audio.so.1"));
    EXPECT_THAT(dynamic_entries(system_library(), "SONAME"), ElementsAre("libqz_system.so.1"));
}

TEST(FilesTest, AreReachedByTheUsualLinks)
{
    for (const std::string name : {"libqz_audio.so", "libqz_system.so"}) {
        EXPECT_EQ(fs::read_symlink(library(name)), name + ".1");
        EXPECT_EQ(fs::read_symlink(library(name + ".1")), name + "." QZ_VERSION);
        EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(library(name + "." QZ_VERSION))));
    }
}

TEST(FilesTest, FindEachOtherFromWhereTheyLie)
{
    EXPECT_THAT(dynamic_entries(player_library(), "RUNPATH"), ElementsAre("$ORIGIN"));
    for (const fs::path& file : shipped_files()) {
        EXPECT_THAT(dynamic_entries(file, "RPATH"), IsEmpty()) << file;
        for (const std::string& path : dynamic_entries(file, "RUNPATH")) {
            EXPECT_THAT(split(path, ':'), Each(testing::StartsWith("$ORIGIN"))) << file;
        }
    }
}

TEST(FilesTest, SystemLibraryIsNeverUnloaded)
{
    EXPECT_THAT(output_of("readelf -dW '" + system_library().string() + "'"),
                HasSubstr("NODELETE"));
    EXPECT_THAT(output_of("readelf -dW '" + player_library().string() + "'"),
                Not(HasSubstr("NODELETE")));
}

TEST(FilesTest, HoldNoPathOfTheMachineThatBuiltThem)
{
    EXPECT_THAT(bytes_of(player_library()), HasSubstr("src/qz_audio/qz_audio_lifecycle.cpp"));
    for (const fs::path& file : shipped_files()) {
        const std::string bytes = bytes_of(file);
        EXPECT_EQ(bytes.find(QZ_SOURCE_DIR), std::string::npos) << file;
        EXPECT_EQ(bytes.find(QZ_BUILD_DIR), std::string::npos) << file;
    }
}
