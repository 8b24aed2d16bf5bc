#include "config/tolvconf_schedule.h"

#include "base/text.h"
#include "config/tolvconf_value.h"
#include "screen/getch.h"
#include "screen/layout_check.h"

#include <algorithm>
#include <curses.h>

// Two columns for each weekday, hour and minute, Sunday first.
constexpr int x_position[] = {20, 23, 27, 30, 34, 37, 41, 44, 48, 51, 55, 58, 62, 65};

namespace {

constexpr int SCHEDULE_COLUMNS = std::size(x_position);
static_assert(SCHEDULE_COLUMNS == 2 * 7 && std::is_sorted(x_position, std::end(x_position)));
static_assert(x_position[SCHEDULE_COLUMNS - 1] + 2 < BOX_PLACE.col + BOX_WIDTH);

constexpr int START_ROW = cw_p[ITEM_START_TIMES].row;
constexpr int SHUTDOWN_ROW = cw_p[ITEM_SHUTDOWN_TIMES].row;

constexpr int HOUR_MAX = 23;
constexpr int MINUTE_MAX = 59;
constexpr int UNSET = -1;

constexpr Place ALERT_PLACE = ValuePlace(cw_p[ITEM_ALERT]);
constexpr char TOO_CLOSE_TEXT[] = "(Start Time Too Close to Shutdown Time!)";
constexpr int ALERT_STRIP_LENGTH = 44; // over the frame, to the screen's edge

static_assert(std::size(TOO_CLOSE_TEXT) - 1 <= ALERT_STRIP_LENGTH);
static_assert(ALERT_PLACE.col + ALERT_STRIP_LENGTH <= SCREEN_COLS);

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

void MoveColumn(Editor& editor, int step)
{
    *editor.scheduleColumn = (*editor.scheduleColumn + step) % SCHEDULE_COLUMNS;
    editor.cursorCol = x_position[*editor.scheduleColumn];
    *editor.alertCode = ALERT_NONE;
}

// A start time makes sense only for a UPS that was turned off.
void SwitchRow(Editor& editor)
{
    if (editor.config.turnOffUps == 0)
        *editor.alertCode = ALERT_TOGGLE_REBOOT;
    else
        editor.cursorRow = editor.cursorRow == START_ROW ? SHUTDOWN_ROW : START_ROW;
}

void RefuseToLeave(Editor& editor)
{
    attrset(A_STANDOUT);
    PutText(ALERT_PLACE, TOO_CLOSE_TEXT);
    attrset(A_NORMAL);
    *editor.alertCode = ALERT_TOO_CLOSE;
}

void LeaveSchedule(Editor& editor)
{
    editor.mode = MODE_ITEMS;
    *editor.scheduleColumn = 0;
    SetCursor(editor, HOME_PLACE);
    PutBlanks(ALERT_PLACE, ALERT_STRIP_LENGTH);
}

} // namespace

// With the schedule off only the row changes, which makes the painter complain.
void StartSchedule(Editor& editor)
{
    editor.cursorRow = START_ROW;
    if (editor.config.scheduleOn != 1)
        return;
    SetCursor(editor, {editor.config.turnOffUps != 0 ? START_ROW : SHUTDOWN_ROW, x_position[0]});
    editor.mode = MODE_SCHEDULE;
}

void SchdlChange(ScheduleEntry schedule[7], int key, int column, int row)
{
    ScheduleEntry& entry = schedule[column / 2];
    bool isStart = row == START_ROW;
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

// One key of the schedule mode.
static void TakeScheduleKey(Editor& editor, int key)
{
    switch (key) {
    case '+':
    case '-':
    case 'i':
    case 'm':
        SchdlChange(editor.schedule, key, *editor.scheduleColumn, editor.cursorRow);
        editor.modified = 1;
        break;
    case 'u':
    case 'd':
    case 'A': // the last byte of an arrow key
    case 'B':
        SwitchRow(editor);
        break;
    case 'r':
    case 'C':
        MoveColumn(editor, 1);
        break;
    case 'l':
    case 'D':
        MoveColumn(editor, SCHEDULE_COLUMNS - 1);
        break;
    case KEY_ENTER_LINEFEED:
    case KEY_ENTER_RETURN:
        if (ChkSchedule(editor.config, editor.schedule) == 0)
            RefuseToLeave(editor);
        else
            LeaveSchedule(editor);
        // A refusal shown once stays flagged on purpose, also after a later good Enter.
        if (*editor.alertCode != ALERT_TOO_CLOSE)
            *editor.alertCode = ALERT_NONE;
        break;
    default:
        break;
    }
}

void ScreenFunc3(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                 int* cursorCol, int16_t* mode, int* scheduleColumn, int* modified, int* alertCode)
{
    Editor editor = {.config = config,
                     .cursorRow = *cursorRow,
                     .cursorCol = *cursorCol,
                     .mode = *mode,
                     .modified = *modified,
                     .schedule = schedule,
                     .scheduleColumn = scheduleColumn,
                     .alertCode = alertCode};
    TakeScheduleKey(editor, key);
}
