#!/bin/sh
# Builds the program of the README as the README tells, and has it play a track into a file.
#
# usage: readme_test.sh by-hand|by-cmake SOURCE_DIR BUILD_DIR MODULE
#   MODULE is libout123's module for ALSA. The environment names the compiler by its path, CXX, and may
#   have CXXFLAGS.
set -eu

way=$1
source_dir=$2
build_dir=$3
module=$4

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

fail() {
    echo "readme_test.sh: $*" >&2
    exit 1
}

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

# A silent output that keeps what it is given.
catch_sound() {
    mkdir modules
    ln -s "$module" modules
    cat >asound.conf <<'CONFIGURATION'
pcm.!default { type file slave.pcm { type null } file "played.wav" format "wav" }
ctl.!default { type null }
CONFIGURATION
    export MPG123_MODDIR="$work/modules" ALSA_CONFIG_PATH="$work/asound.conf"
}

first_block cpp >jukebox.cpp
case "$way" in
by-hand) build_by_hand ;;
by-cmake) build_by_cmake ;;
*) fail "no such way: $way" ;;
esac

sox -n -r 44100 -c 2 tone.wav synth 2 sine 440 gain -6
lame --quiet tone.wav track.mp3
mpg123 -q -w decoded.wav track.mp3
catch_sound

timeout -k 1 60 ./jukebox track.mp3 >told || fail "the track was not played"
cmp played.wav decoded.wav || fail "the track sounds otherwise than libmpg123 decodes it"

status=0
timeout -k 1 60 ./jukebox missing.mp3 >>told || status=$?
[ "$status" -eq 1 ] || fail "exit status $status for a missing track"

[ ! -s told ] || fail "the library has something to say of the program: $(cat told)"
