// Logs the time of "exec" and becomes another program.
//
// usage: log_exec PROGRAM ARGUMENT...

#include "event_log.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fputs("usage: log_exec PROGRAM ARGUMENT...\n", stderr);
        return 1;
    }
    log_event("exec");
    execvp(argv[1], argv + 1);
    std::perror(argv[1]);
    return 2;
}
