#!/bin/bash
# Completes command lines of qz_play as bash does, with the script that the program prints.
#
# usage: completion_test.sh QZ_PLAY
set -eu

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
eval "$("$1" --print-completion bash)"
cd "$work"
mkdir songs
touch "a song.mp3"

# Prints what the last of the words becomes, one possibility a line.
complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _qz_play
    printf '%s\n' "${COMPREPLY[@]}" | sort
}

expect() {
    local wanted=$1 got
    shift
    got=$(complete_words "$@")
    if [ "$got" != "$wanted" ]; then
        printf 'completion_test.sh: %s\nwanted:\n%s\ngot:\n%s\n' "$*" "$wanted" "$got" >&2
        exit 1
    fi
}

expect "--fade-in
--fade-out" qz_play --fade
expect "--volume" qz_play "a song.mp3" --vo
expect "a song.mp3
songs" qz_play ""
expect "songs" qz_play --bin-path ""
expect "" qz_play --volume ""
expect "" qz_play --print
