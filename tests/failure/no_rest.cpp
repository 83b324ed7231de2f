#include <ctime>

// The program's own `nanosleep`: on the substitute platform no other thread frees memory meanwhile, and a
// rest before another attempt would only take time.

extern "C" int nanosleep(const timespec*, timespec*)
{
    return 0;
}
