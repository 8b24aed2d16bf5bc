// The weekly schedule on a clock that is put forward and back twice a year.
#pragma once

#include "settings/tolv_lib.h"

#include <ctime>

// One shutdown of the weekly schedule and the start that follows it.
struct ScheduledShutdown {
    time_t at;          // seconds since the epoch, -1 = none
    bool hasStart;      // whether a start follows at all
    int restartMinutes; // from when the UPS has turned off until that start; may be below 1
};

// The first scheduled shutdown after the minute of the given moment, of a schedule without
// nonsense times. It is the time of CalcSchdlTime, right also across a change of the clocks: a
// time that the clocks skip comes when they skip it, and one that they show twice counts the
// first time only. The UPS turns off upsOffDelay minutes after the shutdown, rounded down, at
// least one.
ScheduledShutdown NextScheduled(time_t from, const ScheduleEntry sched[7], float upsOffDelay);
