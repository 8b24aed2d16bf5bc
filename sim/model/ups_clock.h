// The clock that the simulator's loops wait and stamp by.
#pragma once

#include <sys/time.h>

// Milliseconds of the monotonic clock.
long NowMilliseconds();
// Makes the wait of a select no longer than until that moment of the same clock.
void ShortenWait(timeval* wait, long due);
