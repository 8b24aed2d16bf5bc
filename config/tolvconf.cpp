#include "config/tolvconf.h"

#include "base/text.h"
#include "config/tolvconf_entry.h"
#include "config/tolvconf_layout.h"
#include "config/tolvconf_schedule.h"
#include "config/tolvconf_value.h"
#include "ipc/tolvipc.h"
#include "screen/getch.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <curses.h>

namespace {

constexpr int COMMUNITY_LIMIT = 8; // characters that a save keeps
constexpr int ADDRESS_LIMIT = 15;
constexpr int REREADS_AFTER_SAVE = 5;

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
void ToggleItem(Number* state, const LayoutLine& place, const Cursor& cursor, int* modified)
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
