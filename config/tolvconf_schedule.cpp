#include "config/tolvconf_schedule.h"

#include "base/text.h"
#include "config/tolvconf_layout.h"
#include "config/tolvconf_value.h"
#include "screen/getch.h"

#include <curses.h>

// Two columns for each weekday, hour and minute, Sunday first.
const int x_position[SCHEDULE_COLUMNS] = {20, 23, 27, 30, 34, 37, 41, 44, 48, 51, 55, 58, 62, 65};

namespace {

constexpr int HOUR_MAX = 23;
constexpr int MINUTE_MAX = 59;
constexpr int UNSET = -1;

constexpr char TOO_CLOSE_TEXT[] = "(Start Time Too Close to Shutdown Time!)";
constexpr int ALERT_STRIP_LENGTH = 44;

// A minute without an hour is dropped, an hour without a minute is the full hour.
void CompleteTime(int32_t hour, int32_t* minute)
{
    if (hour != UNSET && *minute == UNSET)
        *minute = 0;
    if (hour == UNSET)
        *minute = UNSET;
}

bool StartsTooClose(const ScheduleEntry& entry, int offDelay)
{
    if (entry.startHour == UNSET || entry.shutdownHour == UNSET)
        return false;
    int64_t hours = int64_t{entry.startHour} - entry.shutdownHour;
    int64_t after = hours * 60 + entry.startMinute - entry.shutdownMinute;
    return after >= 0 && after <= offDelay;
}

void MoveColumn(int step, int* scheduleColumn, int* cursorCol, int* alertCode)
{
    *scheduleColumn = (*scheduleColumn + step) % SCHEDULE_COLUMNS;
    *cursorCol = x_position[*scheduleColumn];
    *alertCode = ALERT_NONE;
}

// A start time makes sense only for a UPS that was turned off.
void SwitchRow(const PowerConfig& config, int* cursorRow, int* alertCode)
{
    if (config.turnOffUps == 0)
        *alertCode = ALERT_TOGGLE_REBOOT;
    else
        *cursorRow = *cursorRow == ROW_START_TIME ? ROW_SHUTDOWN_TIME : ROW_START_TIME;
}

void RefuseToLeave(int* alertCode)
{
    attrset(A_STANDOUT);
    PutText({ROW_ALERT, COL_ALERT_STRIP}, TOO_CLOSE_TEXT);
    attrset(A_NORMAL);
    *alertCode = ALERT_TOO_CLOSE;
}

void LeaveSchedule(int* cursorRow, int* cursorCol, int16_t* mode, int* scheduleColumn)
{
    *mode = MODE_ITEMS;
    *scheduleColumn = 0;
    *cursorRow = ROW_AC_FAIL_DELAY;
    *cursorCol = COL_ITEM_CURSOR;
    PutBlanks({ROW_ALERT, COL_ALERT_STRIP}, ALERT_STRIP_LENGTH);
}

} // namespace

void SchdlChange(ScheduleEntry schedule[7], int key, int column, int row)
{
    ScheduleEntry& entry = schedule[column / 2];
    bool isStart = row == ROW_START_TIME;
    if (column % 2 == 1)
        IntChange(isStart ? &entry.startMinute : &entry.shutdownMinute, key, MINUTE_MAX, UNSET);
    else
        IntChange(isStart ? &entry.startHour : &entry.shutdownHour, key, HOUR_MAX, UNSET);
}

int ChkSchedule(const PowerConfig& config, ScheduleEntry schedule[7])
{
    int offDelay = TruncateToInt(static_cast<double>(config.upsOffDelay));
    for (int day = 0; day < 7; day++) {
        ScheduleEntry& entry = schedule[day];
        CompleteTime(entry.startHour, &entry.startMinute);
        CompleteTime(entry.shutdownHour, &entry.shutdownMinute);
        if (StartsTooClose(entry, offDelay))
            return 0;
    }
    return 1;
}

void ScreenFunc3(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                 int* cursorCol, int16_t* mode, int* scheduleColumn, int* modified, int* alertCode)
{
    switch (key) {
    case '+':
    case '-':
    case 'i':
    case 'm':
        SchdlChange(schedule, key, *scheduleColumn, *cursorRow);
        *modified = 1;
        break;
    case 'u':
    case 'd':
    case 'A': // the last byte of an arrow key
    case 'B':
        SwitchRow(config, cursorRow, alertCode);
        break;
    case 'r':
    case 'C':
        MoveColumn(1, scheduleColumn, cursorCol, alertCode);
        break;
    case 'l':
    case 'D':
        MoveColumn(SCHEDULE_COLUMNS - 1, scheduleColumn, cursorCol, alertCode);
        break;
    case KEY_ENTER_LINEFEED:
    case KEY_ENTER_RETURN:
        if (ChkSchedule(config, schedule) == 0)
            RefuseToLeave(alertCode);
        else
            LeaveSchedule(cursorRow, cursorCol, mode, scheduleColumn);
        // A refusal shown once stays flagged, also after a later good Enter.
        if (*alertCode != ALERT_TOO_CLOSE)
            *alertCode = ALERT_NONE;
        break;
    default:
        break;
    }
}
