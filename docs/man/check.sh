#!/bin/sh
# Fails where mandoc has something to say of a manual page, or where a page names another of ours that is
# not there. Which pages other packages bring is not for us to know.
#
# usage: check.sh FOLDER   with the folders man1, man3 and so on in it
set -eu
cd "$1"
command -v mandoc >/dev/null || { echo "check.sh: mandoc is missing" >&2; exit 1; }

# It complains of the system's index of pages on standard error.
remarks=$(mandoc -T lint -W style man*/* 2>/dev/null |
    grep -v 'referenced manual not found' || true)

missing=$(sed -n 's/^\.Xr \(qz_[a-z_]*\) \([0-9]\).*/man\2\/\1.\2/p' man*/* | sort -u |
    while read -r page; do [ -e "$page" ] || echo "no such page: $page"; done)

if [ -n "$remarks$missing" ]; then
    printf '%s\n' "$remarks" "$missing" >&2
    exit 1
fi
