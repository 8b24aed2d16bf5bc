// The end of the daemon's watch: the process that shuts the system down is begun, looked after,
// and followed by words should the system stay up.
#pragma once

#include "daemon/daemon.h"

#include <cstdint>

// Begins it: from here on the line is the last deed's, and nothing is asked any more.
void GoDown(Daemon& daemon, int64_t now);

// At the start: what an earlier daemon did more than ten minutes ago did not work, and counts
// for nothing any more, the outage behind it included.
void ForgetOldDeed();

// At the start, after that: while what an earlier daemon began is at work, or just done, nothing
// is begun.
void FindEarlierDeed(Daemon& daemon);

// Every second while isToGoDown.
void WatchDeed(Daemon& daemon, int64_t now);

// The UPS is asked, by this process.
bool IsWatching(const Daemon& daemon);
