#!/bin/sh
# Builds the programs of the README and of the guide as the guide describes, and plays a track with each into a file.
#
# usage: readme_test.sh by-hand|by-cmake SOURCE_DIR BUILD_DIR MODULE
#   MODULE is libout123's module for ALSA. The environment has the path of the compiler, CXX, and may have CXXFLAGS.
set -eu

# shellcheck source=tests/support/script_test.sh
. "$2/tests/support/script_test.sh"

# usage: first_block PAGE LANGUAGE [PATTERN]
first_block() {
    awk -v language="$2" -v pattern="${3:-}" -f "$source_dir/tests/readme/first_block.awk" \
        "$source_dir/$1" || fail "no such block: $*"
}

# The guide's command runs unchanged, in a folder that looks like the tree; its g++ is the compiler with the flags
# that the libraries were built with.
build_by_hand() {
    [ -e bin ] || {
        ln -s "$source_dir/src" src
        ln -s "$build_dir" build
        mkdir bin
        printf '#!/bin/sh\nexec %s %s "$@"\n' "$CXX" "${CXXFLAGS:-}" >bin/g++
        chmod +x bin/g++
    }
    first_block docs/guide.md sh 'g[+][+]' >by_hand.sh
    PATH="$work/bin:$PATH" sh -eu by_hand.sh
}

build_by_cmake() {
    mkdir -p project
    ln -sfn "$source_dir" project/qz_audio
    first_block docs/guide.md cmake >project/CMakeLists.txt
    cp jukebox.cpp project
    cmake -S project -B made
    cmake --build made --target jukebox
    cp made/jukebox .
}

# usage: build_program PAGE   builds the first C++ program of the page as ./jukebox
build_program() {
    first_block "$1" cpp >jukebox.cpp
    case "$way" in
    by-hand) build_by_hand ;;
    by-cmake) build_by_cmake ;;
    *) fail "no such way: $way" ;;
    esac
}

make_track
catch_sound "$module"

build_program README.md
check_sound ./jukebox
[ ! -s told ] || fail "the program of the README causes messages: $(cat told)"

build_program docs/guide.md
check_player ./jukebox
[ ! -s told ] || fail "the program of the guide causes messages: $(cat told)"
