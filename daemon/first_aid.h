// What is wrong around the daemon, and how it is put right: a line of the check for each.
#pragma once

#include "settings/tolv_lib.h"

// Prints a line "Trouble: … Remedy: …" on standard output for each setting out of range, folder or
// file that is missing or not root's alone, and program that cannot be run. Changes nothing.
// Gives the number of lines.
int PrintTroubles(const PowerConfig& cfg, const ScheduleEntry sched[7]);
