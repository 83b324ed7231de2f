#!/bin/sh
# Plays a track with the qz_play just built: on the sound device or, where there is none, into a WAV
# file, whose path is the last thing that it prints.
#
# usage: play.sh TRACK
set -u

qz_play=build/bin/qz_play
wav=build/$(basename "$1" | sed 's/\.[^.]*$//').wav

"$qz_play" "$1"
status=$?
# 1 is a start-up that failed: there is no usable output.
[ "$status" -eq 1 ] || exit "$status"

"$qz_play" --wav "$wav" "$1" || exit
echo "There is no sound device here: the track was written to $wav"
