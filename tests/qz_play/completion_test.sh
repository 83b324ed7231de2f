#!/bin/bash
# Completes command lines of qz_play as bash does, and looks for every option in both scripts.
#
# usage: completion_test.sh QZ_PLAY FOLDER_OF_THE_SCRIPTS
set -eu

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# shellcheck source=/dev/null
source "$2/qz_play.bash"

# Prints what the last of the words becomes, one possibility a line.
complete_words() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _qz_play
    printf '%s\n' "${COMPREPLY[@]}" | sort
}

check() {
    local what=$1 expected=$2 actual=$3
    if [ "$actual" != "$expected" ]; then
        printf 'completion_test.sh: %s\nexpected:\n%s\nactual:\n%s\n' "$what" "$expected" "$actual" >&2
        exit 1
    fi
}

expect() {
    local expected=$1
    shift
    check "$*" "$expected" "$(complete_words "$@")"
}

# Prints the options in the text, one a line, without those in brackets.
options_in() {
    grep -oE -e '(^|[ ,{])--?[a-z][a-z-]*' | grep -oE -e '-.*' | sort -u
}

help_options=$("$1" --help | grep -oE '^ +-[^ ]*( +--[a-z-]+)?' | options_in)
grep -q -e --volume <<< "$help_options"
check "bash: options" "$help_options" \
    "$({ complete_words qz_play -; complete_words qz_play --; } | sort -u)"
check "zsh: options" "$help_options" "$(sed "s/([^)]*)//; s/'//g; s/\[.*//" "$2/_qz_play" |
    grep -v -e '^_arguments' | options_in)"

cd "$work"
mkdir songs
touch "a song.mp3"
expect "--fade-in
--fade-out" qz_play --fade
expect "--volume" qz_play "a song.mp3" --vo
expect "a song.mp3
songs" qz_play ""
expect "songs" qz_play --bin-path ""
expect "" qz_play --volume ""
