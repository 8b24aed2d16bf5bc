// What the daemon hears from its UPS: taken over, told in the log, kept for the screens.
#pragma once

#include "daemon/daemon.h"

#include <cstdint>

// Begins to watch the UPS that the settings name.
void StartReading(Daemon& daemon);

// Takes over what is new; the reading to decide by, or null.
const Reading* TakeNews(Daemon& daemon, int64_t now, const SourceNews& news);

// Keeps it in files on a disk, which may hang: after the decision.
void KeepNews(Daemon& daemon, const SourceNews& news);
