#include "sim/model/ups_clock.h"

#include <algorithm>
#include <time.h>

long NowMilliseconds()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000L + now.tv_nsec / 1000000L;
}

void ShortenWait(timeval* wait, long due)
{
    long left = std::max(0L, due - NowMilliseconds());
    if (left < wait->tv_sec * 1000L + wait->tv_usec / 1000L)
        *wait = {left / 1000L, left % 1000L * 1000L};
}
