// The arithmetic of the weekly schedule, in whole minutes on a circle of seven days.
#pragma once

#include "settings/tolv_lib.h"

#include <ctime>

// Minutes (1 to 10080) from the given moment of the week to the next event of
// the table, -1 without any event. foundDay receives the event's weekday.
int TimeDif(int day, int hour, int minute, const int hours[7], const int minutes[7], int* foundDay);

// The next scheduled shutdown (seconds since the epoch, weekday) and the time
// the UPS stays off after it (minutes, weekday of the restart). -1 = none;
// restartAfter and restartDay are left alone when there is no shutdown.
void CalcSchdlTime(const ScheduleEntry sched[7], int* shutdownAt, int* restartAfter,
                   int* shutdownDay, int* restartDay, double upsOffDelay);

// The same from any moment, and beyond the year 2038. Every day until then counts 24
// hours, also one on which the clocks change.
void CalcSchdlTimeFrom(time_t now, const ScheduleEntry sched[7], time_t* shutdownAt,
                       int* restartAfter, int* shutdownDay, int* restartDay, double upsOffDelay);
