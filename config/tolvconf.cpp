#include "config/tolvconf.h"

#include "config/getch.h"
#include "config/tolvconf_entry.h"
#include "config/tolvconf_value.h"
#include "ipc/tolvipc.h"
#include "status/tolvstat_screen.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <curses.h>

namespace {

constexpr int ITEMS = 14;

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

} // namespace

// Title and vendor notice.
const ScreenPlace ct_p[2] = {{0, 1, -1}, {1, 1, -1}};

// The items: rows 3 to 19 from column 9, help lines on rows 21 to 23. The blank
// labels are intentional: this version shows neither the schedule nor the device
// name's label; their keys still work.
// clang-format off
const ScreenPlace cw_p[ITEMS] = {
    { 3, 9, 62}, { 4, 9, 62}, { 5, 9, 62}, { 7, 9, 33}, { 9, 9, 42}, {10, 9, 42}, {12, 9, 36},
    {14, 9, -1}, {15, 9, -1}, {16, 9, -1}, {18, 9, 35}, {19, 9, 19}, { 6, 9, 62}, { 8, 9, 33},
};

const char cw_s[ITEMS][64] = {
    "[d] System Shutdown Delay Time When AC Power Failed:      Min.",
    "[b] System Shutdown Delay Time When Battery Low    :      Min.",
    "[u] UPS Turn Off Delay Time                        :      Min.",
    "                                ",
    "[n] Shutdown Count Down Display:",
    "                                ",
    "                                ",
    "                                ",
    "                                                           ",
    "                                                           ",
    "[s] Save Configuration. ",
    "[q] Quit. ",
    "                                                           ",
    "",
};

const ScreenPlace cb_p[3] = {{21, 9, -1}, {22, 9, -1}, {23, 9, -1}};
const ScreenPlace t_xy = {ROW_ALERT, 37, -1};

namespace {

// Help lines by mode, from mode 1 on.
const char* const HELP_LINES[5][3] = {
    {"Press the letters in brackets to select items.         ",
     "Press [+], [-], or [i], [m] to change values.\t\t ",
     "Press [r] to redraw screen."},
    {"Input the device name then press [Enter] to confirm.   ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
    {"Press [+], [-], or [i], [m] to change values.          ",
     "[r]-right, [l]-left, [u]-up, [d]-down to move cursor.  ",
     "Press [Enter] to exit.     "},
    {"Input the community name then press [Enter] to confirm.",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
    {"Input the ip address then press [Enter] to confirm.    ",
     "Press [BKSP] to delete char, [Esc] to quit Edit Mode.  ",
     "                           "},
};
// clang-format on

constexpr int LABEL_COL = 9;
constexpr int STRIP_LENGTH = 65; // blanks over a whole item line
constexpr ScreenPlace TURN_OFF_PLACE = {11, 9, 49};
constexpr int COMMUNITY_LIMIT = 8; // characters that a save keeps
constexpr int ADDRESS_LIMIT = 15;
constexpr int REREADS_AFTER_SAVE = 5;

void PutValue(ItemLine item, const char* text)
{
    PutText(cw_p[item].row, cw_p[item].valueCol, text);
}

void WipeLine(int row)
{
    PutBlanks(row, LABEL_COL, STRIP_LENGTH);
}

void DrawCommunication(const PowerConfig& config)
{
    if (config.commMode == COMM_SERIAL) {
        WipeLine(ROW_ADDRESS);
        WipeLine(ROW_DEVICE);
        PutText(cw_p[ITEM_DEVICE].row, cw_p[ITEM_DEVICE].labelCol, cw_s[ITEM_DEVICE]);
        PutBlanks(ROW_DEVICE, ENTRY_COL, 44);
        PutText(ROW_DEVICE, ENTRY_COL, config.comPort);
    } else if (config.commMode == COMM_SNMP) {
        WipeLine(ROW_ADDRESS);
        WipeLine(ROW_COMMUNITY);
        PutText(ROW_ADDRESS, LABEL_COL, "[p] Ip Address       : ");
        PutText(ROW_COMMUNITY, LABEL_COL, "[o] Community Name   : ");
        PutText(ROW_ADDRESS, ENTRY_COL, config.snmpIp);
        PutText(ROW_COMMUNITY, ENTRY_COL, config.snmpCommunity);
    }
}

void DrawLabels(const PowerConfig& config)
{
    for (int item = 0; item < ITEMS; item++) {
        if (item != ITEM_DEVICE)
            PutText(cw_p[item].row, cw_p[item].labelCol, cw_s[item]);
    }
    if (config.commMode == COMM_SNMP)
        WipeLine(ROW_BATTERY_RATING);
}

void DrawDelays(const PowerConfig& config)
{
    char text[32];
    if (config.acFailDelay > 60) // the longer text covers the label's "Min."
        FormatText(text, sizeof(text), "%2d.0 Hrs.", config.acFailDelay / 60);
    else
        FormatText(text, sizeof(text), "%2d.0", config.acFailDelay);
    PutValue(ITEM_AC_FAIL, text);
    FormatText(text, sizeof(text), "%2d.0", config.battLowDelay);
    PutValue(ITEM_BATT_LOW, text);
    FormatText(text, sizeof(text), "%4.1f", static_cast<double>(config.upsOffDelay));
    PutValue(ITEM_OFF_DELAY, text);
    if (config.batteryRating > 0 && config.commMode != COMM_SNMP) {
        FormatText(text, sizeof(text), "%4.1f", static_cast<double>(config.batteryRating));
        PutValue(ITEM_RATING, text);
    }
}

void DrawSwitches(const PowerConfig& config)
{
    PutValue(ITEM_COUNTDOWN, config.countdownOn == 1 ? "ON " : "OFF");
    PutText(TURN_OFF_PLACE.row, TURN_OFF_PLACE.labelCol, "[a] Turn off UPS after System Shutdown:");
    if (config.turnOffUps == 1)
        PutText(TURN_OFF_PLACE.row, TURN_OFF_PLACE.valueCol, "YES");
    if (config.turnOffUps == 0)
        PutText(TURN_OFF_PLACE.row, TURN_OFF_PLACE.valueCol, "NO ");
}

void DrawHelpLines(int mode)
{
    if (mode < MODE_ITEMS || mode > MODE_ADDRESS)
        return;
    for (int line = 0; line < 3; line++)
        PutTabbedText(cb_p[line].row, cb_p[line].labelCol, HELP_LINES[mode - 1][line]);
}

// A message stays exactly as long as the cursor stays on its row.
void WipeMessages(int row, int alertCode)
{
    if (row != cw_p[ITEM_SAVE].row)
        PutBlanks(cw_p[ITEM_SAVE].row, cw_p[ITEM_SAVE].valueCol, 20);
    if (row != cw_p[ITEM_QUIT].row)
        PutBlanks(cw_p[ITEM_QUIT].row, cw_p[ITEM_QUIT].valueCol, 44);
    bool isAlertOver = row != ROW_START_TIME || alertCode == ALERT_NONE;
    if (alertCode != ALERT_TOO_CLOSE && isAlertOver)
        PutBlanks(ROW_ALERT, COL_ALERT_STRIP, 41);
}

void DrawMessages(const PowerConfig& config, int row, int col, int alertCode)
{
    move(row, col);
    attrset(A_STANDOUT);
    if (row == cw_p[ITEM_SAVE].row)
        PutValue(ITEM_SAVE, "(Save Completed!)");
    if (row == cw_p[ITEM_QUIT].row)
        PutValue(ITEM_QUIT, "(Press [q] again to quit without saving!)");
    if (row == ROW_START_TIME && config.scheduleOn == 0)
        PutText(t_xy.row, t_xy.labelCol, "(Turn Schedule Function ON first!)");
    if (alertCode == ALERT_TOGGLE_REBOOT) {
        PutText(t_xy.row, t_xy.labelCol, "(Toggle [a] to set Automatic Reboot)");
        move(row, col);
    }
    attrset(A_NORMAL);
}

void SetCursor(const Cursor& cursor, int row, int col)
{
    *cursor.row = row;
    *cursor.col = col;
}

// Keys that only choose a numeric item: its row.
struct ItemKey {
    int key;
    int row;
};
constexpr ItemKey ITEM_KEYS[] = {
    {'d', ROW_AC_FAIL_DELAY},
    {'b', ROW_BATT_LOW_DELAY},
    {'u', ROW_UPS_OFF_DELAY},
    {'v', ROW_BATTERY_RATING},
};

void ChooseItem(int key, const Cursor& cursor)
{
    for (const ItemKey& item : ITEM_KEYS) {
        if (item.key == key)
            SetCursor(cursor, item.row, COL_ITEM_CURSOR);
    }
}

template <typename Number> void ToggleSwitch(Number* state)
{
    if (*state == 0 || *state == 1)
        *state = static_cast<Number>(1 - *state);
}

template <typename Number>
void ToggleItem(Number* state, const ScreenPlace& place, const Cursor& cursor, int* modified)
{
    SetCursor(cursor, place.row, place.valueCol);
    ToggleSwitch(state);
    *modified = 1;
}

void StartEntry(int entryMode, int row, int col, const char* field, char* savedCopy,
                const Cursor& cursor, int16_t* mode)
{
    SetCursor(cursor, row, col);
    CopyText(savedCopy, SETTINGS_TEXT_SIZE, field);
    *mode = static_cast<int16_t>(entryMode);
}

// With the schedule off only the row changes, which makes the painter complain.
void StartSchedule(const PowerConfig& config, const Cursor& cursor, int16_t* mode)
{
    *cursor.row = ROW_START_TIME;
    if (config.scheduleOn != 1)
        return;
    SetCursor(cursor, config.turnOffUps != 0 ? ROW_START_TIME : ROW_SHUTDOWN_TIME, x_position[0]);
    *mode = MODE_SCHEDULE;
}

void LimitTexts(PowerConfig& config)
{
    if (isdigit(static_cast<unsigned char>(config.snmpIp[0])) == 0)
        CopyField(config.snmpIp, NO_AGENT_ADDRESS);
    if (strlen(config.snmpCommunity) > COMMUNITY_LIMIT)
        config.snmpCommunity[COMMUNITY_LIMIT] = '\0';
    if (strlen(config.snmpIp) > ADDRESS_LIMIT)
        config.snmpIp[ADDRESS_LIMIT] = '\0';
}

// Nobody waits for the daemon or for a status screen: they are told, that is all.
void SaveSettings(PowerConfig& config, const ScheduleEntry schedule[7], int daemonQueue,
                  int screenQueue)
{
    LimitTexts(config);
    WriteConfig(config, schedule);
    SendConfigChngMsg(daemonQueue);
    SendConfigChngMsg(screenQueue);
}

// 0 = quit now; with unsaved changes the first [q] only asks.
int AskToQuit(const Cursor& cursor, int* modified)
{
    *cursor.row = cw_p[ITEM_QUIT].row;
    if (*modified == 0) {
        endwin();
        return 0;
    }
    *modified = 0;
    return 1;
}

} // namespace

void DrawString(const PowerConfig& config, const ScheduleEntry /*schedule*/[7], int row, int col,
                int mode, int alertCode)
{
    DrawCommunication(config);
    DrawHeader(ct_p, "(SNMP WardenLink for Linux) UPS Configuration Utility,");
    DrawLabels(config);
    DrawDelays(config);
    DrawSwitches(config);
    DrawHelpLines(mode);
    WipeMessages(row, alertCode);
    DrawMessages(config, row, col, alertCode);
}

int ScreenFunc1(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                int* cursorCol, int16_t* mode, char* savedDevice, char* savedCommunity,
                char* savedIp, int* modified, int* justSaved, int* savePasses)
{
    int daemonQueue = CreateMsgQ(DAEMON_CONTROL_QUEUE);
    int screenQueue = CreateMsgQ(SCREEN_CONTROL_QUEUE);
    Cursor cursor = {cursorRow, cursorCol};
    ChooseItem(key, cursor);
    switch (key) {
    case '+':
    case '-':
    case 'i':
    case 'm':
        DoChange(config, schedule, key, *cursorRow);
        *modified = 1; // also where nothing could be changed
        break;
    case 'a':
        ToggleItem(&config.turnOffUps, TURN_OFF_PLACE, cursor, modified);
        break;
    case 'n':
        ToggleItem(&config.countdownOn, cw_p[ITEM_COUNTDOWN], cursor, modified);
        break;
    case 'l':
        ToggleItem(&config.scheduleOn, cw_p[ITEM_SCHEDULE], cursor, modified);
        break;
    case 'c': // the cursor after the old text: typing extends it
        if (config.commMode != COMM_SNMP)
            StartEntry(MODE_DEVICE, ROW_DEVICE,
                       ENTRY_COL + static_cast<int>(strlen(config.comPort)), config.comPort,
                       savedDevice, cursor, mode);
        break;
    case 'o': // the cursor on its first character: typing replaces it
        if (config.commMode != COMM_SERIAL)
            StartEntry(MODE_COMMUNITY, ROW_COMMUNITY, ENTRY_COL, config.snmpCommunity,
                       savedCommunity, cursor, mode);
        break;
    case 'p':
        if (config.commMode != COMM_SERIAL)
            StartEntry(MODE_ADDRESS, ROW_ADDRESS, ENTRY_COL, config.snmpIp, savedIp, cursor, mode);
        break;
    case 't':
        StartSchedule(config, cursor, mode);
        break;
    case 's':
        *cursorRow = cw_p[ITEM_SAVE].row;
        SaveSettings(config, schedule, daemonQueue, screenQueue);
        *justSaved = 1;
        *savePasses = 0;
        *modified = 0;
        break;
    case 'q':
        return AskToQuit(cursor, modified);
    case 'r':
        wclear(stdscr);
        break;
    default:
        break;
    }
    return 1;
}

int SendConfigChngMsg(int queue)
{
    return SendMsg(queue, CONTROL_MESSAGE, CONTROL_RELOAD);
}

void ToggleMode(PowerConfig& config)
{
    ToggleSwitch(&config.commMode);
}

namespace {

// Everything the running editor owns.
struct Editor {
    PowerConfig config;
    ScheduleEntry schedule[7];
    int cursorRow;
    int cursorCol;
    int16_t mode;
    char savedDevice[SETTINGS_TEXT_SIZE];
    char savedCommunity[SETTINGS_TEXT_SIZE];
    char savedIp[SETTINGS_TEXT_SIZE];
    int modified;
    int justSaved;
    int savePasses;
    int alertCode;
};

// 0 = the editor is to end. The schedule mode has no entry on purpose: once in
// it, the screen redraws with its help lines and takes no key.
int HandleKey(Editor& editor, int key)
{
    switch (editor.mode) {
    case MODE_ITEMS:
        return ScreenFunc1(editor.config, editor.schedule, key, &editor.cursorRow,
                           &editor.cursorCol, &editor.mode, editor.savedDevice,
                           editor.savedCommunity, editor.savedIp, &editor.modified,
                           &editor.justSaved, &editor.savePasses);
    case MODE_DEVICE:
        ScreenFunc2(editor.config, key, &editor.cursorRow, &editor.cursorCol, &editor.mode,
                    editor.savedDevice, &editor.modified);
        break;
    case MODE_COMMUNITY:
        ScreenFunc4(editor.config, key, &editor.cursorRow, &editor.cursorCol, &editor.mode,
                    editor.savedCommunity, &editor.modified);
        break;
    case MODE_ADDRESS:
        ScreenFunc5(editor.config, key, &editor.cursorRow, &editor.cursorCol, &editor.mode,
                    editor.savedIp, &editor.modified);
        break;
    default:
        break;
    }
    return 1;
}

// Keys are taken as signed 8-bit characters.
int GetSignedKey()
{
    int key = GetCH();
    return key > 127 ? key - 256 : key;
}

// What the files make of the saved values shows on the passes after a save.
void ReadAfterSave(Editor& editor)
{
    if (editor.justSaved != 1)
        return;
    ReadConfig(editor.config, editor.schedule);
    editor.savePasses++;
    if (editor.savePasses >= REREADS_AFTER_SAVE) {
        editor.justSaved = 0;
        editor.savePasses = 0;
    }
}

} // namespace

int tolvan_config()
{
    Editor editor = {};
    editor.cursorRow = ROW_AC_FAIL_DELAY;
    editor.cursorCol = COL_ITEM_CURSOR;
    editor.mode = MODE_ITEMS;
    uname(&systemRecord);
    if (LoadOrCreateConfig(editor.config, editor.schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    InitScreen();
    int staying = 1;
    while (staying == 1) {
        DrawBox(19, 79, 2, 0);
        DrawString(editor.config, editor.schedule, editor.cursorRow, editor.cursorCol, editor.mode,
                   editor.alertCode);
        refresh();
        staying = HandleKey(editor, GetSignedKey());
        if (staying == 1)
            ReadAfterSave(editor);
    }
    return 0;
}
