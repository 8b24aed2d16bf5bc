// The editing of the weekly schedule.
#pragma once

#include "config/tolvconf_layout.h"

// Begins the schedule mode when the schedule is on.
void StartSchedule(Editor& editor);

// Steps the hour (even column, 0 to 12) or minute (odd, 1 to 13) of a weekday's start
// time (row 15) or shutdown time (any other row).
void SchdlChange(ScheduleEntry schedule[7], int key, int column, int row);

// Completes half-set times of the table, then tells whether it may be left: 0
// when a day's start lies on its shutdown, or after it by no more than the whole
// minutes of the turn-off delay.
int ChkSchedule(const PowerConfig& config, ScheduleEntry schedule[7]);

// One key of the schedule mode. The editor's main loop does not call it.
void ScreenFunc3(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                 int* cursorCol, int16_t* mode, int* scheduleColumn, int* modified, int* alertCode);
