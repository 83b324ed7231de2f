#!/bin/sh
# Compares the binary interfaces of the libraries with their baselines in abi/, or writes those anew.
#
# usage: abi.sh check|write BUILD_DIR
set -eu

libraries=$2/lib

# By their place in the headers, private types are told from public ones; hence the locations stay.
write() {
    abidw --out-file "abi/$1.abi" \
        --header-file src/qz_audio/qz_audio.h --header-file src/system/qz_system.h \
        --drop-private-types --exported-interfaces-only --type-id-style hash \
        --no-corpus-path --no-comp-dir-path \
        "$libraries/$1"
}

# abidiff's exit status is a sum: 1 error, 2 wrong usage, 4 changed, 8 incompatible.
check() {
    status=0
    abidiff \
        --header-file2 src/qz_audio/qz_audio.h --header-file2 src/system/qz_system.h \
        --drop-private-types \
        "abi/$1.abi" "$libraries/$1" || status=$?
    [ "$status" -ne 0 ] || return 0

    if [ $((status & 3)) -ne 0 ]; then
        echo "$1: abidiff could not compare" >&2
    elif [ $((status & 8)) -ne 0 ]; then
        echo "$1: the interface is incompatible with what programs were built for" >&2
    else
        echo "$1: the interface has changed" >&2
    fi
    return 1
}

failed=0
for library in libqz_audio.so.1 libqz_system.so.1; do
    case "$1" in
    check) check "$library" || failed=1 ;;
    write) write "$library" ;;
    *) exit 2 ;;
    esac
done
exit "$failed"
