// What one press of [+], [-], [i] or [m] does to a setting, and the editing of the
// weekly schedule. [i] is a synonym of [+] and [m] of [-]; other keys change nothing.
#pragma once

#include "settings/tolv_lib.h"

// Screen rows of the items that DoChange changes.
inline constexpr int ROW_AC_FAIL_DELAY = 3;
inline constexpr int ROW_BATT_LOW_DELAY = 4;
inline constexpr int ROW_UPS_OFF_DELAY = 5;
inline constexpr int ROW_BATTERY_RATING = 6;

// Screen rows of the schedule table.
inline constexpr int ROW_START_TIME = 15;
inline constexpr int ROW_SHUTDOWN_TIME = 16;

// Where the alerts of the schedule stand: a strip of blanks from one column
// further left wipes them.
inline constexpr int ROW_ALERT = 12;
inline constexpr int COL_ALERT_STRIP = 36;

// The editor's modes.
inline constexpr int MODE_ITEMS = 1;
inline constexpr int MODE_DEVICE = 2;
inline constexpr int MODE_SCHEDULE = 3;
inline constexpr int MODE_COMMUNITY = 4;
inline constexpr int MODE_ADDRESS = 5;

// Where the cursor rests on a numeric item, and on the first one of all.
inline constexpr int COL_ITEM_CURSOR = 63;

// Alerts of the schedule (alertCode).
inline constexpr int ALERT_NONE = 0;
inline constexpr int ALERT_TOGGLE_REBOOT = 1; // "(Toggle [a] to set Automatic Reboot)"
inline constexpr int ALERT_TOO_CLOSE = 2;     // "(Start Time Too Close to Shutdown Time!)"

// The editor's cursor, which the painter puts on the screen after each pass.
struct Cursor {
    int* row;
    int* col;
};

inline constexpr int SCHEDULE_COLUMNS = 14; // hour and minute of each weekday
extern const int x_position[SCHEDULE_COLUMNS];

// Applies a key to the item on this screen row; other rows hold none.
void DoChange(PowerConfig& config, ScheduleEntry schedule[7], int key, int row);

// Steps a value that wraps from above max to min and from below min to max.
void ShortChange(int16_t* field, int key, int max, int min, uint16_t step);
void IntChange(int32_t* field, int key, int max, int min);

// The turn-off delay: 0.2 to 1.0 in tenths, then to 10.0 in whole minutes.
void UPSOffChange(float* field, int key);

// Steps the hour (even column) or minute (odd) of a weekday's start time (row
// ROW_START_TIME) or shutdown time (any other row).
void SchdlChange(ScheduleEntry schedule[7], int key, int column, int row);

// Completes half-set times of the table, then tells whether it may be left: 0
// when a day's start lies on its shutdown, or after it by no more than the whole
// minutes of the turn-off delay.
int ChkSchedule(const PowerConfig& config, ScheduleEntry schedule[7]);

// One key of the schedule mode. The editor's main loop does not call it.
void ScreenFunc3(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                 int* cursorCol, int16_t* mode, int* scheduleColumn, int* modified, int* alertCode);
