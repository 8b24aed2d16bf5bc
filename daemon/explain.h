// What the settings mean, in plain words.
#pragma once

#include "daemon/reading.h"
#include "settings/tolv_lib.h"

// Prints what the daemon does with these settings: how it reaches the UPS, when it shuts the
// system down, what the UPS and users are told.
void PrintSettings(const PowerConfig& cfg, const ScheduleEntry sched[7], UpsPath path);
