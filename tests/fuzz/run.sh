#!/bin/sh
# Runs each harness for a time, from the inputs that are kept here; what it finds beyond them stays in the
# build folder. Fails with the first input that crashes, hangs, leaks or breaks what has to hold.
#
# usage: run.sh BUILD_FOLDER SECONDS
set -eu
build=$1
seconds=$2
sources=$(dirname "$0")

for harness in track calls; do
    scratch=$build/inputs/$harness
    log=$build/$harness.log
    mkdir -p "$scratch"
    find "$sources/corpus/$harness" "$sources/regressions/$harness" -type f -exec cp -t "$scratch" {} +
    echo "$harness: $seconds s"
    if ! "$build/bin/${harness}_fuzzer" -max_total_time="$seconds" -timeout=20 -rss_limit_mb=1024 \
        -max_len=4096 -len_control=20 -close_fd_mask=3 -print_final_stats=1 \
        -artifact_prefix="$build/$harness-" "$scratch" 2>"$log"; then
        tail -n 60 "$log"
        echo "The input is the newest of these; any build of ${harness}_fuzzer takes its path:"
        ls -t "$build/$harness-"*
        exit 1
    fi
    grep -E 'DONE|^stat' "$log"
done
