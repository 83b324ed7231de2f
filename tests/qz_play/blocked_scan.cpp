// Preloaded into the program: lets a look through a whole file take for ever, as on a disk that hangs.

#include <mpg123.h>

#include <unistd.h>

extern "C" int mpg123_scan(mpg123_handle* /*mh*/)
{
    for (;;) {
        pause();
    }
}
