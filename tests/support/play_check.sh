# For scripts: a track, a silent output that keeps what it is given, and whether a program plays the one
# into the other. Works in the current folder.

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

# usage: catch_sound MODULE   with MODULE, libout123's module for ALSA
catch_sound() {
    mkdir modules
    ln -s "$1" modules
    cat >asound.conf <<'CONFIGURATION'
pcm.!default { type file slave.pcm { type null } file "played.wav" format "wav" }
ctl.!default { type null }
CONFIGURATION
    export MPG123_MODDIR="$PWD/modules" ALSA_CONFIG_PATH="$PWD/asound.conf"
}

make_track() {
    sox -n -r 44100 -c 2 tone.wav synth 2 sine 440 gain -6
    lame --quiet tone.wav track.mp3
    mpg123 -q -w decoded.wav track.mp3
}

# usage: check_sound COMMAND...   writes its output into the file "told"
check_sound() {
    rm -f played.wav
    timeout -k 1 60 "$@" track.mp3 >told || fail "the track was not played by $*"
    cmp played.wav decoded.wav || fail "the sound differs from what libmpg123 decodes"
}

# usage: check_player COMMAND...   as check_sound; also checks that the command fails for a missing track
check_player() {
    check_sound "$@"
    status=0
    timeout -k 1 60 "$@" missing.mp3 >>told || status=$?
    [ "$status" -eq 1 ] || fail "exit status $status for a missing track"
}
