// The record and the schedule table that the settings editor holds.
#pragma once

#include "settings/tolv_lib.h"

struct Held {
    PowerConfig config = {};
    ScheduleEntry schedule[7] = {};
};

inline Held Defaults()
{
    Held held;
    InitConfig(held.config, held.schedule);
    return held;
}

// The number behind a column (0 to 13) of screen row 15 or 16.
inline int32_t& Cell(ScheduleEntry* schedule, int row, int column)
{
    ScheduleEntry& day = schedule[column / 2];
    if (row == 15)
        return column % 2 == 0 ? day.startHour : day.startMinute;
    return column % 2 == 0 ? day.shutdownHour : day.shutdownMinute;
}
