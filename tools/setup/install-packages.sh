#!/bin/sh
# Installs the Debian packages that a purpose needs and that are missing.
#
# usage: install-packages.sh PURPOSE...   with PURPOSE one of build, test, check, abi, model, measure, bench, peers,
# docs, deb, cross
#
# Installs as root or through sudo; without either it prints the one line to run, and fails.
set -eu

build="g++ make cmake libboost-dev libmpg123-dev mpg123 libcli11-dev libsystemd-dev libutfcpp-dev"
test="libgtest-dev libgmock-dev libasound2-dev lame sox pulseaudio pulseaudio-utils dbus-daemon dbus-bin playerctl binutils procps pkgconf desktop-file-utils tmux"
check="clang libclang-rt-dev clang-format clang-tidy black gcovr valgrind"
abi="abigail-tools"
model="spin gcc"
measure="python3 lame sox valgrind"
bench="libasound2-dev libbenchmark-dev libuv1-dev python3-matplotlib pulseaudio pulseaudio-utils procps"
docs="doxygen graphviz python3 mandoc"
peers="libsox-fmt-alsa libsox-fmt-mp3 mpv gstreamer1.0-tools gstreamer1.0-plugins-base-apps gstreamer1.0-plugins-good gstreamer1.0-alsa"
deb="build-essential dbus-daemon debhelper git lame lintian pkgconf playerctl pulseaudio sox"

# Never mpg123:arm64, which would remove this machine's own.
cross="g++-aarch64-linux-gnu qemu-user libmpg123-dev:arm64 libsystemd-dev:arm64 libutfcpp-dev:arm64 libasound2:arm64 libstdc++6:arm64"

packages=""
for purpose in "$@"; do
    case "$purpose" in
    build) packages="$packages $build" ;;
    test) packages="$packages $test" ;;
    check) packages="$packages $check" ;;
    abi) packages="$packages $abi" ;;
    model) packages="$packages $model" ;;
    measure) packages="$packages $measure" ;;
    bench) packages="$packages $bench" ;;
    docs) packages="$packages $docs" ;;
    peers) packages="$packages $peers" ;;
    deb) packages="$packages $deb" ;;
    cross) packages="$packages $cross" ;;
    *)
        echo "install-packages.sh: no such purpose: $purpose" >&2
        exit 1
        ;;
    esac
done

if ! command -v dpkg-query >/dev/null; then
    echo "This is no Debian: please see to the equivalents of:$packages" >&2
    exit 0
fi

missing=""
for package in $packages; do
    # One word for each architecture that the package is known for.
    states=$(dpkg-query -W -f '${db:Status-Status} ' "$package" 2>/dev/null || true)
    case " $states" in
    *" installed "*) ;;
    *) missing="$missing $package" ;;
    esac
done
[ -n "$missing" ] || exit 0

case "$missing" in
*:arm64*) prepare="dpkg --add-architecture arm64 && apt-get update" ;;
*) prepare="apt-get update" ;;
esac

if [ "$(id -u)" -eq 0 ]; then
    as_root=""
elif command -v sudo >/dev/null; then
    as_root="sudo"
else
    echo "Packages are missing. As root, run:" >&2
    echo "$prepare && apt-get install -y --no-install-recommends$missing" >&2
    exit 1
fi

echo "Installing:$missing"
$as_root sh -c "$prepare -qq"
# The list is meant to be split.
# shellcheck disable=SC2086
$as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends $missing
