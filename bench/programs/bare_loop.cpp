// The reference: the smallest program that plays a track, without any library of ours.
//
// usage: bare_loop TRACK

#include "bare_track.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: bare_loop TRACK\n", stderr);
        return 1;
    }
    bare_track track(argv[1]);
    while (track.play_block()) {
    }
    return track.failed() ? 2 : 0;
}
