#!/bin/sh
# Installs the Debian packages that `make deb` built, runs the tests of installed packages (debian/tests/),
# removes and purges the packages, and sees that nothing of them stays.
#
# usage: check.sh
set -eu
cd "$(dirname "$0")/../.."

packages="libqz-system1 libqz-audio1 libqz-audio-dev libqz-audio-doc qz-play"
files=$(for package in $packages; do echo "build-deb/${package}_"*.deb; done)
as_root=$([ "$(id -u)" -eq 0 ] || echo sudo)

fail() {
    echo "check.sh: $*" >&2
    exit 1
}

# Lists are meant to be split, and as_root may be empty.
# shellcheck disable=SC2086
{
    known() { dpkg-query --show $packages 2>/dev/null; }
    contents() { for file in $files; do dpkg-deb --contents "$file"; done | awk '{ print substr($6, 2) }'; }
    install() { $as_root dpkg --install $files; }
    remove() { $as_root dpkg --remove $packages; }
    purge() { $as_root dpkg --purge $packages; }
}

# The paths that the packages bring and that do not exist.
absent() { contents | sort -u | while read -r path; do [ -e "$path" ] || echo "$path"; done; }

run_tests() {
    sed -n 's/^Tests: //p' debian/tests/control | while read -r name; do
        mkdir "$work/$name"
        AUTOPKGTEST_TMP=$work/$name "debian/tests/$name" </dev/null || fail "the test '$name' failed"
        echo "The test '$name' passed."
    done
}

known && fail "packages of these names are installed: remove them first"
absent_before=$(absent)
work=$(mktemp -d)
trap 'if known; then purge; fi; rm -rf "$work"' EXIT
install
run_tests
remove
purge
known && fail "not all packages were purged"
[ "$(absent)" = "$absent_before" ] || fail "something of the packages stays behind"
echo "Installed, used, removed and purged: $packages"
