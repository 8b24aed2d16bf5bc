// Waiting in no time: the product and the libraries believe that their waits pass, and a clock
// that only goes forward leaps over them. The time of day is left alone, the fuzzer's own limits
// go by it; a target sets it by SetTimeOfDay.
#pragma once

#include <ctime>
#include <sys/select.h>

// Called before a select waits, with the descriptors below count that are looked at. True when
// something was sent that is on its way here: it is really waited for then. It may also leave by
// longjmp.
using WaitHook = bool (*)(int count, const fd_set* readable);

// Of the waits for a key, on standard input alone, and of all others; null for none.
extern WaitHook onKeyWait;
extern WaitHook onOtherWait;

// Called in every sleep of whole seconds: what another process does meanwhile.
extern void (*onSleep)();

// From here on time() gives this moment; -1 gives the machine's again.
void SetTimeOfDay(time_t moment);
