#!/bin/sh
# Plays a track with the qz_play that was built for arm64. It must sound as libmpg123 decodes it on this
# machine, but for the rounding of samples.
#
# usage: play.sh BUILD_DIR TRACK
set -eu

qz_play=$(realpath "$1/bin/qz_play")
track=$(realpath "$2")
mkdir -p "$1/played"
cd "$1/played"

# To install mpg123:arm64 would remove this machine's own, so its output module is taken out of the package.
if [ ! -f modules/output_alsa.so ]; then
    mkdir -p modules
    apt-get download -qq mpg123:arm64
    dpkg-deb --fsys-tarfile mpg123_*_arm64.deb |
        tar -x --to-stdout ./usr/lib/aarch64-linux-gnu/mpg123/output_alsa.so >modules/output_alsa.so
fi

rm -f played.wav
MPG123_MODDIR=$PWD/modules timeout -k 1 300 qemu-aarch64 "$qz_play" --wav played.wav "$track"
mpg123 -q -w decoded.wav "$track"

if [ "$(wc -c <played.wav)" -ne "$(wc -c <decoded.wav)" ]; then
    echo "play.sh: the track has not its length" >&2
    exit 1
fi
# A sample is a multiple of 1/32768.
sox -m -v 1 played.wav -v -1 decoded.wav -n stat 2>&1 | awk '
    /^(Maximum|Minimum) amplitude/ { found++; if ($3 * $3 > (1.5 / 32768) ^ 2) differs = 1 }
    END { exit differs || found != 2 }
' || {
    echo "play.sh: the track sounds otherwise than on this machine" >&2
    exit 1
}
