// Notes the moment "exec" and becomes another program.
//
// usage: noted_exec PROGRAM ARGUMENT...

#include "noted_event.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: noted_exec PROGRAM ARGUMENT...\n", stderr);
        return 1;
    }
    note_event("exec");
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    return 2;
}
