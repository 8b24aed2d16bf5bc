#include "config/tolvconf_entry.h"

#include "base/text.h"
#include "screen/getch.h"

#include <algorithm>
#include <cstring>
#include <curses.h>

// One row for each text. The community name takes the device name's line. It is
// intended that [c] puts the cursor behind the old text, while [o] and [p] put it on
// the first character.
constexpr TextItem TEXTS[] = {
    {'c', MODE_DEVICE, COMM_SNMP, cw_p[ITEM_DEVICE], &PowerConfig::comPort, true, ENTRY_LENGTH},
    {'o', MODE_COMMUNITY, COMM_SERIAL, cw_p[ITEM_DEVICE], &PowerConfig::snmpCommunity, false, 8},
    {'p', MODE_ADDRESS, COMM_SERIAL, cw_p[ITEM_ADDRESS], &PowerConfig::snmpIp, false, 15},
};
static_assert(std::all_of(TEXTS, std::end(TEXTS), [](const TextItem& item) {
    return item.lengthOnSave < SETTINGS_TEXT_SIZE &&
           IsOnScreen(ValuePlace(item.line), ENTRY_LENGTH);
}));
static_assert(TEXTS[TEXT_DEVICE].mode == MODE_DEVICE);
static_assert(TEXTS[TEXT_COMMUNITY].mode == MODE_COMMUNITY);
static_assert(TEXTS[TEXT_ADDRESS].mode == MODE_ADDRESS);

namespace {

void LeaveEntry(Editor& editor)
{
    editor.mode = MODE_ITEMS;
    SetCursor(editor, HOME_PLACE);
}

// The index into the text that the screen's cursor stands for, -1 when a screen too
// small for the text has left it elsewhere; it comes back with the next size.
int EditPosition(Editor& editor, const TextItem& item)
{
    Place place = {getcury(stdscr), getcurx(stdscr)};
    if (place.row != item.line.row || place.col < item.line.valueCol)
        return -1;
    SetCursor(editor, place);
    return place.col - item.line.valueCol;
}

void MoveCursor(Editor& editor, int step)
{
    editor.cursorCol += step;
    move(editor.cursorRow, editor.cursorCol);
}

// The character left of the cursor goes, and everything after it.
void DeleteCharacter(Editor& editor, const TextItem& item)
{
    int position = EditPosition(editor, item);
    if (position < 1 || position > ENTRY_LENGTH)
        return;
    (editor.config.*item.field)[position - 1] = '\0';
    MoveCursor(editor, -1);
}

// The character takes the cursor's place and cuts what stood after it.
void StoreCharacter(Editor& editor, const TextItem& item, char character)
{
    int position = EditPosition(editor, item);
    if (position < 0 || position >= ENTRY_LENGTH)
        return;
    (editor.config.*item.field)[position] = character;
    (editor.config.*item.field)[position + 1] = '\0';
    MoveCursor(editor, 1);
}

void EditText(Editor editor, const TextItem& item, int key, const char* savedCopy)
{
    switch (key) {
    case KEY_BACKSPACE_OR_DELETE:
        DeleteCharacter(editor, item);
        break;
    case KEY_ENTER_LINEFEED:
    case KEY_ENTER_RETURN:
        LeaveEntry(editor);
        if (strcmp(editor.config.*item.field, savedCopy) != 0)
            editor.modified = 1;
        break;
    case KEY_ESCAPE:
        CopyField(editor.config.*item.field, savedCopy);
        LeaveEntry(editor);
        break;
    default:
        if (key > ' ' && key < 127)
            StoreCharacter(editor, item, static_cast<char>(key));
        break;
    }
}

} // namespace

void StartEntry(Editor& editor, const TextItem& item, char* savedCopy)
{
    const char* text = editor.config.*item.field;
    SetCursor(editor, ValuePlace(item.line));
    if (item.isExtended)
        editor.cursorCol += static_cast<int>(strlen(text));
    CopyText(savedCopy, SETTINGS_TEXT_SIZE, text);
    editor.mode = item.mode;
}

void ScreenFunc2(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditText({config, *cursorRow, *cursorCol, *mode, *modified}, TEXTS[TEXT_DEVICE], key,
             savedCopy);
}

void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditText({config, *cursorRow, *cursorCol, *mode, *modified}, TEXTS[TEXT_COMMUNITY], key,
             savedCopy);
}

void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditText({config, *cursorRow, *cursorCol, *mode, *modified}, TEXTS[TEXT_ADDRESS], key,
             savedCopy);
}
