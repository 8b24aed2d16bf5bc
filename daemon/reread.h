// Settings that are there and that a disk refuses: when they are worth another look.
#pragma once

#include "daemon/policy.h"
#include "daemon/process.h"
#include "settings/tolv_lib.h"

#include <cstdint>

struct Reread {
    int64_t at;  // when they are tried again, NEVER where nothing was refused
    Child trial; // that tries them, for a failing disk may take minutes to say no
};

inline constexpr Reread NO_REREAD = {NEVER, {-1, 0}};

// ReadSettings; what is refused once is tried every minute from then on, until all is whole.
SettingsRead ReadOrTryAgain(Reread& reread, PowerConfig& cfg, ScheduleEntry sched[7]);

// To be called every second. True when a trial got all, or one of the files and part of the
// settings will do, there being no others.
bool IsRereadDue(Reread& reread, int64_t now, bool partWillDo);
