// Words to every user who is logged in, by way of wall; never waited for.
#pragma once

#include "daemon/process.h"

#include <cstdint>

inline constexpr int ANNOUNCERS = 4;

// Those that are still at it.
struct Announcers {
    Child list[ANNOUNCERS];
};

void StartAnnouncers(Announcers& announcers);

// Tells everybody. A terminal that hangs can hold up wall for as long as it likes: the
// oldest one gives way then.
void Announce(Announcers& announcers, const char* text, int64_t now);

// Collects those that ended, and ends those that take too long.
void WatchAnnouncers(Announcers& announcers, int64_t now);
