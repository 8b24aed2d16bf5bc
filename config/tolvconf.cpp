#include "config/tolvconf.h"

#include "base/text.h"
#include "config/tolvconf_entry.h"
#include "config/tolvconf_layout.h"
#include "config/tolvconf_schedule.h"
#include "config/tolvconf_value.h"
#include "ipc/tolvipc.h"
#include "screen/getch.h"

#include <cctype>
#include <cstring>
#include <curses.h>

namespace {

constexpr int REREADS_AFTER_SAVE = 5;

void ChooseNumber(Editor& editor, int key)
{
    for (const NumberItem& item : NUMBERS) {
        if (item.key == key)
            SetCursor(editor, NumberCursor(item.line));
    }
}

void TurnSwitch(Editor& editor, int key)
{
    for (const SwitchItem& item : SWITCHES) {
        if (item.key == key) {
            SetCursor(editor, ValuePlace(item.line));
            item.turn(editor.config);
            editor.modified = 1;
        }
    }
}

void ChooseText(Editor& editor, int key)
{
    for (int text = 0; text < TEXT_LINES; text++) {
        const TextItem& item = TEXTS[text];
        if (item.key == key && item.unusedIn != editor.config.commMode)
            StartEntry(editor, item, editor.savedTexts[text]);
    }
}

void LimitTexts(PowerConfig& config)
{
    if (isdigit(static_cast<unsigned char>(config.snmpIp[0])) == 0)
        CopyField(config.snmpIp, NO_AGENT_ADDRESS);
    for (const TextItem& item : TEXTS) {
        char* text = config.*item.field;
        if (strlen(text) > item.lengthOnSave)
            text[item.lengthOnSave] = '\0';
    }
}

// The screen says "(Save Completed!)" whatever became of the files, and whether or not
// the daemon and a status screen can be told: both on purpose.
void SaveSettings(Editor& editor, int daemonQueue, int screenQueue)
{
    editor.cursorRow = cw_p[ITEM_SAVE].row;
    LimitTexts(editor.config);
    WriteConfig(editor.config, editor.schedule);
    SendConfigChngMsg(daemonQueue);
    SendConfigChngMsg(screenQueue);
    editor.modified = 0;
    *editor.justSaved = 1;
    *editor.savePasses = 0;
}

// 0 = quit now. With unsaved changes the first [q] only asks; the next one quits,
// also when other keys that change nothing came between: kept.
int AskToQuit(Editor& editor)
{
    editor.cursorRow = cw_p[ITEM_QUIT].row;
    if (editor.modified == 0) {
        endwin();
        return 0;
    }
    editor.modified = 0;
    return 1;
}

// One key of the item selection; 0 = quit.
int TakeItemKey(Editor& editor, int key)
{
    // At every key, whatever it is: the queues are there before a save needs them, and
    // those that somebody removed meanwhile are made anew.
    int daemonQueue = CreateMsgQ(DAEMON_CONTROL_QUEUE);
    int screenQueue = CreateMsgQ(SCREEN_CONTROL_QUEUE);
    ChooseNumber(editor, key); // [d], [b], [u] and [v] do no more than that
    TurnSwitch(editor, key);
    ChooseText(editor, key);
    switch (key) {
    case '+':
    case '-':
    case 'i':
    case 'm':
        DoChange(editor.config, editor.schedule, key, editor.cursorRow);
        editor.modified = 1; // also on a row without a number
        break;
    case 't':
        StartSchedule(editor);
        break;
    case 's':
        SaveSettings(editor, daemonQueue, screenQueue);
        break;
    case 'q':
        return AskToQuit(editor);
    case 'r':
        wclear(stdscr);
        break;
    default:
        break;
    }
    return 1;
}

} // namespace

int ScreenFunc1(PowerConfig& config, ScheduleEntry schedule[7], int key, int* cursorRow,
                int* cursorCol, int16_t* mode, char* savedDevice, char* savedCommunity,
                char* savedIp, int* modified, int* justSaved, int* savePasses)
{
    Editor editor = {.config = config,
                     .cursorRow = *cursorRow,
                     .cursorCol = *cursorCol,
                     .mode = *mode,
                     .modified = *modified,
                     .schedule = schedule,
                     .savedTexts = {savedDevice, savedCommunity, savedIp},
                     .justSaved = justSaved,
                     .savePasses = savePasses};
    return TakeItemKey(editor, key);
}

int SendConfigChngMsg(int queue)
{
    return SendMsg(queue, CONTROL_MESSAGE, CONTROL_RELOAD);
}

void ToggleMode(PowerConfig& config)
{
    TurnOver(&config.commMode);
}

namespace {

// Everything the running editor owns.
struct EditorState {
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
int HandleKey(EditorState& state, int key)
{
    switch (state.mode) {
    case MODE_ITEMS:
        return ScreenFunc1(state.config, state.schedule, key, &state.cursorRow, &state.cursorCol,
                           &state.mode, state.savedDevice, state.savedCommunity, state.savedIp,
                           &state.modified, &state.justSaved, &state.savePasses);
    case MODE_DEVICE:
        ScreenFunc2(state.config, key, &state.cursorRow, &state.cursorCol, &state.mode,
                    state.savedDevice, &state.modified);
        break;
    case MODE_COMMUNITY:
        ScreenFunc4(state.config, key, &state.cursorRow, &state.cursorCol, &state.mode,
                    state.savedCommunity, &state.modified);
        break;
    case MODE_ADDRESS:
        ScreenFunc5(state.config, key, &state.cursorRow, &state.cursorCol, &state.mode,
                    state.savedIp, &state.modified);
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

// What the files make of the saved values shows on the passes after a save. A change
// made on one of them is read over: that is intended.
void ReadAfterSave(EditorState& state)
{
    if (state.justSaved != 1)
        return;
    ReadConfig(state.config, state.schedule);
    state.savePasses++;
    if (state.savePasses >= REREADS_AFTER_SAVE) {
        state.justSaved = 0;
        state.savePasses = 0;
    }
}

} // namespace

int tolvan_config()
{
    EditorState state = {};
    state.cursorRow = HOME_PLACE.row;
    state.cursorCol = HOME_PLACE.col;
    state.mode = MODE_ITEMS;
    uname(&systemRecord);
    if (LoadOrCreateConfig(state.config, state.schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    InitScreen();
    int staying = 1;
    while (staying == 1) {
        DrawBox(BOX_HEIGHT, BOX_WIDTH, BOX_PLACE.row, BOX_PLACE.col);
        DrawString(state.config, state.schedule, state.cursorRow, state.cursorCol, state.mode,
                   state.alertCode);
        refresh();
        staying = HandleKey(state, GetSignedKey());
        if (staying == 1)
            ReadAfterSave(state);
    }
    return 0;
}
