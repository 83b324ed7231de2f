#!/bin/sh
# Makes the tracks of corpus/track beside this script: small ones of each kind, and damaged ones. Needs sox
# and lame.
set -eu
cd "$(dirname "$0")/corpus/track"

sound=$(mktemp --suffix .wav)
trap 'rm -f "$sound"' EXIT

# usage: track NAME RATE CHANNELS SECONDS LAME_OPTION...
track() {
    name=$1
    sox -R -n -r "$2" -c "$3" -b 16 "$sound" synth "$4" sine 300-3000 gain -6
    shift 4
    lame --quiet "$@" "$sound" "$name.mp3"
}

# usage: damaged NAME FROM POSITION BYTES   (BYTES as octal escapes)
damaged() {
    cp "$2.mp3" "$1.mp3"
    # shellcheck disable=SC2059 # the bytes are a format
    printf "$4" | dd of="$1.mp3" bs=1 seek="$3" conv=notrunc status=none
}

track stereo 44100 2 0.1 -b 64
track mono 48000 1 0.1 -b 32
track mpeg2 22050 1 0.15 -b 16
track mpeg25 8000 1 0.3 -b 8
track vbr 44100 2 0.1 -V 7
track crc 32000 2 0.08 -b 48 -p
track free_format 44100 1 0.1 --freeformat -b 40
track tagged 24000 1 0.1 -b 16 --id3v2-only --add-id3v2 --tt Title --ta Artist --tc Comment
track bare 44100 1 0.1 -b 32 -t

head -c 500 stereo.mp3 >truncated.mp3
cat bare.mp3 mpeg2.mp3 >two_rates.mp3
{ head -c 300 bare.mp3; printf '%0200d' 0; tail -c +300 bare.mp3; } >garbage_within.mp3
damaged false_header stereo 2 '\377'
damaged false_xing vbr 44 '\377\377\377\377\377\377\377\377'
damaged false_side_info mono 110 '\377\377\377\377\377\377\377\377\377\377\377\377'
damaged false_tag_size tagged 6 '\000\000\177\177'
printf 'This is no track.\n' >text.mp3
: >empty.mp3
