// The player's clock on virtual time.
#include "qz_audio/qz_audio_clock.h"
#include "virtual_clock.h"

time_point clock_now()
{
    return substitute::virtual_now();
}

void clock_sleep(duration time)
{
    substitute::virtual_sleep(time);
}
