#!/bin/sh
# Installs the build, moves the installed tree to another place, and has a foreign project build a player
# against it, which must play a track.
#
# usage: consumers_test.sh WAY SOURCE_DIR BUILD_DIR MODULE
#   WAY is by_cmake, by_make, or other_platform, where the platform library is replaced by another; or
#   absolute_folders, which only looks at what pkg-config tells of them.
#   MODULE is libout123's module for ALSA. The environment names the compiler, CXX.
set -eu

# shellcheck source=tests/support/script_test.sh
. "$2/tests/support/script_test.sh"

install_and_move() {
    # A component's list of files has a name of its own: that of `make install` stays.
    cmake --install "$build_dir" --prefix "$work/installed" --component Unspecified >/dev/null
    mv installed moved
    package=$(find "$work/moved" -name qz_audio.pc) || fail "no qz_audio.pc is installed"
    PKG_CONFIG_PATH=$(dirname "$package")
    libraries=$(dirname "$PKG_CONFIG_PATH")
    export PKG_CONFIG_PATH
}

# A program built by CMake finds the libraries by itself.
build_by_cmake() {
    cmake -S consumers/by_cmake -B made -DCMAKE_PREFIX_PATH="$work/moved"
    cmake --build made
    mv made/play .
}

build_by_make() {
    make -C consumers/by_make
    mv consumers/by_make/play .
    export LD_LIBRARY_PATH="$libraries"
}

# The installed file is replaced; nothing is built anew.
replace_platform() {
    make -C consumers/other_platform
    cp consumers/other_platform/libqz_system.so.1 "$(realpath "$libraries/libqz_system.so.1")"
}

# Its texts and the size of its stacks are a platform's own matter.
check_contract() {
    LD_LIBRARY_PATH="$libraries" timeout -k 1 300 "$build_dir/bin/system_tests" --gtest_brief=1 \
        --gtest_filter='-DiagnosticsTest*:*Describe*:*ServesManyThreads:*IsReported*:*HasAStackOf*' ||
        fail "the platform does not do what qz_system.h says"
}

expect_word() {
    case " $told " in
    *" $1 "*) ;;
    *) fail "pkg-config does not tell $1, but: $told" ;;
    esac
}

# Folders outside the prefix are told as they were given.
check_absolute_folders() {
    cmake -S "$source_dir" -B made -DCMAKE_INSTALL_PREFIX="$work/near" \
        -DCMAKE_INSTALL_LIBDIR="$work/far/lib" -DCMAKE_INSTALL_INCLUDEDIR="$work/far/include" >/dev/null
    told=$(PKG_CONFIG_PATH=made pkg-config --cflags --libs qz_audio)
    expect_word "-I$work/far/include/qz"
    expect_word "-L$work/far/lib"
}

cp -r "$source_dir/tests/consumers" .
install_and_move
catch_sound "$module"
make_track

case "$way" in
by_cmake | by_make)
    "build_$way"
    check_player ./play
    [ ! -s told ] || fail "the library has something to say of the program: $(cat told)"
    ;;
other_platform)
    build_by_make
    replace_platform
    check_player ./play
    check_contract
    grep -q "other platform: at work" told || fail "the platform was not replaced"
    ;;
absolute_folders) check_absolute_folders ;;
*) fail "no such way: $way" ;;
esac
