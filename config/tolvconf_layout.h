// The editor's screen: where its items stand, its modes and its cursor, and the
// painter of it all.
#pragma once

#include "screen/frame.h"
#include "settings/tolv_lib.h"

inline constexpr int ITEMS = 14;

// Lines of the layout table that the code speaks of.
enum ItemLine {
    ITEM_AC_FAIL,
    ITEM_BATT_LOW,
    ITEM_OFF_DELAY,
    ITEM_DEVICE,
    ITEM_COUNTDOWN,
    ITEM_SCHEDULE,
    ITEM_SAVE = 10,
    ITEM_QUIT = 11,
    ITEM_RATING = 12,
    ITEM_ADDRESS = 13
};

// Title and vendor notice; items, rows 3 to 19 from column 9; help lines; alerts.
extern const LayoutLine ct_p[2];
extern const LayoutLine cw_p[ITEMS];
extern const char cw_s[ITEMS][64];
extern const LayoutLine cb_p[3];
extern const LayoutLine t_xy;

inline constexpr LayoutLine TURN_OFF_PLACE = {11, 9, 49};

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

inline constexpr int ENTRY_COL = 33;    // first column of each of the fields
inline constexpr int ENTRY_LENGTH = 29; // characters that a field takes
inline constexpr int ROW_DEVICE = 7;    // in serial mode
inline constexpr int ROW_COMMUNITY = 7; // in SNMP mode
inline constexpr int ROW_ADDRESS = 8;

// Paints the whole screen from the editor's state.
void DrawString(const PowerConfig& config, const ScheduleEntry schedule[7], int row, int col,
                int mode, int alertCode);
