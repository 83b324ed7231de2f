#!/bin/sh
# Makes arpeggio.mp3 beside this script: sixteen plucked notes and a closing chord, always the same bytes.
# Needs sox and lame.
set -eu
cd "$(dirname "$0")"

sox -R -n -r 44100 -b 16 -t raw - \
    synth 6.5 \
    pluck C3 pluck G3 pluck E4 pluck C5 \
    pluck A2 pluck E3 pluck C4 pluck A4 \
    pluck F2 pluck C3 pluck A3 pluck F4 \
    pluck G2 pluck D3 pluck B3 pluck G4 \
    pluck C3 pluck G3 pluck E4 pluck C5 \
    delay 0 0.25 0.5 0.75 1 1.25 1.5 1.75 2 2.25 2.5 2.75 3 3.25 3.5 3.75 4.05 4.1 4.15 4.2 \
    remix 1,3,5,7,9,11,13,15,17,19 2,4,6,8,10,12,14,16,18,20 \
    remix 1,2v0.4 2,1v0.4 treble -6 reverb 30 fade 0 6.5 1.5 norm -3 |
    lame --quiet -r -s 44.1 -b 128 --add-id3v2 \
        --tt "Arpeggio" --ta "the qz audio developers" - arpeggio.mp3
