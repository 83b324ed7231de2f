#!/usr/bin/env bash
# Has spin search the model of how a player ends. The model must hold, every step of it must be reached,
# and each broken variant must be found out by the property that is named here.
set -euo pipefail
cd "$(dirname "$0")/../.."

model=docs/model/player.pml
folder=build-model

# Variant, property, and what spin says when it finds the variant out.
variants="
NO_CLOSED             safety                 assertion violated.*destroy_finished.*mh
LOOP_IGNORES_CLOSED   safety                 assertion violated.*destroy_finished.*mh
STATUS_BEFORE_CLOSED  safety                 assertion violated.*destroy_finished.*mh
NO_MARK               safety                 assertion violated.*destroy_finished
NO_HOLDS              safety                 assertion violated.*gone
DROPPED_IS_ANSWERED   safety                 assertion violated.*ran.*called
SILENT_WHEN_CLOSED    stop_is_answered       acceptance cycle
KEEP_WAITING          destruction_completes  acceptance cycle
POST_AFTER_STOP       destruction_completes  acceptance cycle
JOIN                  safety                 invalid end state
"

# Searches the model, with the preprocessor's options that follow, for a violation of a property.
search() {
    local name=$1 property=$2 compile run
    shift 2
    if [ "$property" = safety ]; then
        compile="-DSAFETY -DNOCLAIM" run=""
    else
        compile="" run="-a -f -N $property"
    fi
    mkdir -p "$folder/$name"
    cp "$model" "$folder/$name"
    (
        cd "$folder/$name"
        spin -a "$@" player.pml >spin.txt
        # Options are meant to be split.
        # shellcheck disable=SC2086
        gcc -O2 -w -DCOLLAPSE -DMEMLIM=2000 $compile -o pan pan.c
        # shellcheck disable=SC2086
        ./pan $run -m100000 >search.txt || true
    )
}

says() { grep -qE "$2" "$folder/$1/search.txt"; }

effort() {
    sed -nE 's/^ *([0-9.e+]+) states, stored.*/\1 states/p; s/^ *([0-9.]+)\ttotal actual.*/\1 MB/p
        s/^pan: elapsed time ([0-9.]+).*/\1 s/p' "$folder/$1/search.txt" | paste -sd , | sed 's/,/, /g'
}

fail() {
    echo "$1" >&2
    exit 1
}

# The last steps of what was found, and the state that they lead to.
show_trail() { (cd "$folder/$1" && ./pan -C | tail -n 120); }

holds() {
    search "$@"
    if ! says "$1" 'errors: 0' || says "$1" 'not completed|depth too small'; then
        show_trail "$1" >&2 || true
        fail "$1: DOES NOT HOLD, or was not searched to the end"
    fi
    echo "$1: holds ($(effort "$1"))"
}

# What no search reaches is checked by none. Processes that never end and claims do not count.
reaches_every_step() {
    local missed
    missed=$(awk '/^unreached in/ { counts = !/claim/ } counts && /state [0-9]+,/ && !/-end-/' \
        "$folder/$1/search.txt")
    [ -z "$missed" ] || fail "$1: never reached: $missed"
}

is_found_out() {
    local variant=$1 property=$2 message=$3
    search "$variant" "$property" -DCALLS_1=2 -DCALLS_2=1 "-DBROKEN_$variant"
    says "$variant" "^pan:1: $message" || fail "BROKEN_$variant: NOT FOUND OUT ($property, $message)"
    echo "BROKEN_$variant: found out ($(grep '^pan:1:' "$folder/$variant/search.txt"))"
}

rm -rf "$folder"
holds safety safety -DCALLS_1=2 -DCALLS_2=2
reaches_every_step safety
holds destruction_completes destruction_completes -DCALLS_1=2 -DCALLS_2=1
holds stop_is_answered stop_is_answered -DCALLS_1=2 -DCALLS_2=1

named=0
while read -r variant property message; do
    [ -n "$variant" ] || continue
    is_found_out "$variant" "$property" "$message"
    named=$((named + 1))
done <<<"$variants"
[ "$named" -eq "$(grep -oE 'BROKEN_[A-Z_]*[A-Z]' "$model" | sort -u | wc -l)" ] ||
    fail "check.sh does not name every broken variant of $model"
