// The editor's screen: where its items stand, its modes and its cursor, and the
// painter of it all.
#pragma once

#include "screen/frame.h"
#include "settings/tolv_lib.h"

#include <iterator>

// The box around the items.
inline constexpr Place BOX_PLACE = {2, 0};
inline constexpr int BOX_HEIGHT = 19;
inline constexpr int BOX_WIDTH = 79;

// The lines of cw_p and cw_s, in the order of both.
enum ItemLine {
    ITEM_AC_FAIL,
    ITEM_BATT_LOW,
    ITEM_OFF_DELAY,
    ITEM_DEVICE, // in SNMP mode the community name stands here
    ITEM_COUNTDOWN,
    ITEM_SCHEDULE,
    ITEM_ALERT,
    ITEM_BLANK,
    ITEM_START_TIMES,
    ITEM_SHUTDOWN_TIMES,
    ITEM_SAVE,
    ITEM_QUIT,
    ITEM_RATING,
    ITEM_ADDRESS,
    ITEM_LINES
};

// Where the items stand. Their keys' tables, the painter and the cursor go by it; only the
// columns of the schedule's table stand elsewhere.
inline constexpr LayoutLine cw_p[] = {
    {3, 9, 62},  // ITEM_AC_FAIL
    {4, 9, 62},  // ITEM_BATT_LOW
    {5, 9, 62},  // ITEM_OFF_DELAY
    {7, 9, 33},  // ITEM_DEVICE
    {9, 9, 42},  // ITEM_COUNTDOWN
    {10, 9, 42}, // ITEM_SCHEDULE
    {12, 9, 36}, // ITEM_ALERT
    {14, 9, -1}, // ITEM_BLANK
    {15, 9, -1}, // ITEM_START_TIMES
    {16, 9, -1}, // ITEM_SHUTDOWN_TIMES
    {18, 9, 35}, // ITEM_SAVE
    {19, 9, 19}, // ITEM_QUIT
    {6, 9, 62},  // ITEM_RATING
    {8, 9, 33},  // ITEM_ADDRESS
};
static_assert(std::size(cw_p) == ITEM_LINES);

// Stands apart from the table: its label is drawn with its value, after all others.
inline constexpr LayoutLine TURN_OFF_LINE = {11, 9, 49};

// The cursor of a number stands one column right of where its value begins.
constexpr Place NumberCursor(const LayoutLine& line)
{
    return RightOf(ValuePlace(line), 1);
}

// Where the cursor is at the start, and again after a text or the schedule.
inline constexpr Place HOME_PLACE = NumberCursor(cw_p[ITEM_AC_FAIL]);

// Characters that a text setting takes.
inline constexpr int ENTRY_LENGTH = SETTINGS_TEXT_SIZE - 1;

// The editor's modes.
inline constexpr int16_t MODE_ITEMS = 1;
inline constexpr int16_t MODE_DEVICE = 2;
inline constexpr int16_t MODE_SCHEDULE = 3;
inline constexpr int16_t MODE_COMMUNITY = 4;
inline constexpr int16_t MODE_ADDRESS = 5;

// Alerts of the schedule (alertCode).
inline constexpr int ALERT_NONE = 0;
inline constexpr int ALERT_TOGGLE_REBOOT = 1; // "(Toggle [a] to set Automatic Reboot)"
inline constexpr int ALERT_TOO_CLOSE = 2;     // "(Start Time Too Close to Shutdown Time!)"

// The texts that are typed in place, the index into TEXTS.
enum TextLine { TEXT_DEVICE, TEXT_COMMUNITY, TEXT_ADDRESS, TEXT_LINES };

// What every key handler works on. It refers to values that belong to the handler's
// caller, who gives their addresses one by one; null = not this handler's.
struct Editor {
    PowerConfig& config;
    int& cursorRow;
    int& cursorCol;
    int16_t& mode;
    int& modified; // 1 = there are unsaved changes
    ScheduleEntry* schedule = nullptr;
    char* savedTexts[TEXT_LINES] = {}; // copies that text entry can restore
    int* justSaved = nullptr;          // 1 = the files are to be read again
    int* savePasses = nullptr;         // how often they were since the save
    int* scheduleColumn = nullptr;
    int* alertCode = nullptr;
};

// Where the painter is to put the cursor. Its row also selects what [+] changes.
void SetCursor(Editor& editor, Place place);

// Paints the whole screen from the editor's state.
void DrawString(const PowerConfig& config, const ScheduleEntry schedule[7], int row, int col,
                int mode, int alertCode);
