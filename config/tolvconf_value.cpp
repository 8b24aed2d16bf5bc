#include "config/tolvconf_value.h"

#include "config/getch.h"
#include "status/tolvstat_screen.h"

#include <curses.h>

// Two columns for each weekday, hour and minute, Sunday first.
const int x_position[SCHEDULE_COLUMNS] = {20, 23, 27, 30, 34, 37, 41, 44, 48, 51, 55, 58, 62, 65};

namespace {

constexpr int AC_FAIL_MAX = 1440; // minutes
constexpr int BATT_LOW_MIN = 1;
constexpr int BATT_LOW_MAX = 10;
constexpr int RATING_MAX = 96; // volts
constexpr int RATING_STEP = 12;
constexpr int HOUR_MAX = 23;
constexpr int MINUTE_MAX = 59;
constexpr int UNSET = -1;

constexpr char TOO_CLOSE_TEXT[] = "(Start Time Too Close to Shutdown Time!)";
constexpr int ALERT_STRIP_LENGTH = 44;

// The step of the AC-fail delay by its present value, up to and including upTo.
struct DelayStep {
    int upTo;
    int down;
    int otherwise;
};

constexpr DelayStep DELAY_STEPS[] = {
    {29, 1, 1}, {30, 1, 10}, {59, 10, 10}, {60, 10, 60}, {1439, 60, 60},
};

bool IsIncrease(int key)
{
    return key == '+' || key == 'i';
}

bool IsDecrease(int key)
{
    return key == '-' || key == 'm';
}

// At the upper end, and above it, an increase chooses no step of its own: the
// last one is used again.
int ChooseStep(int minutes, int key, int lastStep)
{
    for (const DelayStep& step : DELAY_STEPS) {
        if (minutes <= step.upTo)
            return IsDecrease(key) ? step.down : step.otherwise;
    }
    return minutes == AC_FAIL_MAX && IsDecrease(key) ? 60 : lastStep;
}

template <typename Number>
void StepAround(Number* field, int key, int64_t max, int64_t min, int64_t step)
{
    int64_t changed = *field;
    if (IsIncrease(key)) {
        changed += step;
        if (changed > max)
            changed = min;
    } else if (IsDecrease(key)) {
        changed -= step;
        if (changed < min)
            changed = max;
    }
    *field = static_cast<Number>(changed);
}

void ChangeBatteryRating(PowerConfig& config, int key)
{
    int16_t volts = static_cast<int16_t>(TruncateToInt(static_cast<double>(config.batteryRating)));
    ShortChange(&volts, key, RATING_MAX, 0, RATING_STEP);
    config.batteryRating = static_cast<float>(volts);
}

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
    PutText(ROW_ALERT, COL_ALERT_STRIP, TOO_CLOSE_TEXT);
    attrset(A_NORMAL);
    *alertCode = ALERT_TOO_CLOSE;
}

void LeaveSchedule(int* cursorRow, int* cursorCol, int16_t* mode, int* scheduleColumn)
{
    *mode = MODE_ITEMS;
    *scheduleColumn = 0;
    *cursorRow = ROW_AC_FAIL_DELAY;
    *cursorCol = COL_ITEM_CURSOR;
    PutBlanks(ROW_ALERT, COL_ALERT_STRIP, ALERT_STRIP_LENGTH);
}

} // namespace

void DoChange(PowerConfig& config, ScheduleEntry /*schedule*/[7], int key, int row)
{
    static int AC_step = 1;
    switch (row) {
    case ROW_AC_FAIL_DELAY:
        AC_step = ChooseStep(config.acFailDelay, key, AC_step);
        ShortChange(&config.acFailDelay, key, AC_FAIL_MAX, config.battLowDelay,
                    static_cast<uint16_t>(AC_step));
        break;
    case ROW_BATT_LOW_DELAY:
        ShortChange(&config.battLowDelay, key,
                    config.acFailDelay < BATT_LOW_MAX ? config.acFailDelay : BATT_LOW_MAX,
                    BATT_LOW_MIN, 1);
        break;
    case ROW_UPS_OFF_DELAY:
        UPSOffChange(&config.upsOffDelay, key);
        break;
    case ROW_BATTERY_RATING:
        ChangeBatteryRating(config, key);
        break;
    default:
        break;
    }
}

void ShortChange(int16_t* field, int key, int max, int min, uint16_t step)
{
    StepAround(field, key, max, min, step);
}

void IntChange(int32_t* field, int key, int max, int min)
{
    StepAround(field, key, max, min, 1);
}

// The odd limits absorb the rounding of repeated steps of 0.1.
void UPSOffChange(float* field, int key)
{
    if (IsIncrease(key)) {
        if (*field < 0.99F)
            *field += 0.1F;
        else if (*field <= 9.9F)
            *field += 1.0F;
        else
            *field = 0.2F;
    } else if (IsDecrease(key)) {
        if (*field > 1.01F)
            *field -= 1.0F;
        else if (*field >= 0.21F)
            *field -= 0.1F;
        else
            *field = 10.0F;
    }
}

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
