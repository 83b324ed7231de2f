#!/bin/sh
# Builds the program of the README as the README tells, and has it play a track into a file.
#
# usage: readme_test.sh by-hand|by-cmake SOURCE_DIR BUILD_DIR MODULE
#   MODULE is libout123's module for ALSA. The environment names the compiler by its path, CXX, and may
#   have CXXFLAGS.
set -eu

# shellcheck source=tests/support/script_test.sh
. "$2/tests/support/script_test.sh"

first_block() {
    awk -v language="$1" -v pattern="${2:-}" -f "$source_dir/tests/readme/first_block.awk" \
        "$source_dir/README.md" || fail "the README has no such block: $*"
}

# The README's command runs as it stands, in a folder that looks like the tree; its g++ is the compiler
# and the flags that the libraries were built with.
build_by_hand() {
    ln -s "$source_dir/src" src
    ln -s "$build_dir" build
    mkdir bin
    printf '#!/bin/sh\nexec %s %s "$@"\n' "$CXX" "${CXXFLAGS:-}" >bin/g++
    chmod +x bin/g++
    first_block sh 'g[+][+]' >by_hand.sh
    PATH="$work/bin:$PATH" sh -eu by_hand.sh
}

build_by_cmake() {
    mkdir project
    ln -s "$source_dir" project/qz_audio
    first_block cmake >project/CMakeLists.txt
    cp jukebox.cpp project
    cmake -S project -B made
    cmake --build made --target jukebox
    cp made/jukebox .
}

first_block cpp >jukebox.cpp
case "$way" in
by-hand) build_by_hand ;;
by-cmake) build_by_cmake ;;
*) fail "no such way: $way" ;;
esac

make_track
catch_sound "$module"
check_player ./jukebox
[ ! -s told ] || fail "the library has something to say of the program: $(cat told)"
