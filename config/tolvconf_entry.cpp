#include "config/tolvconf_entry.h"

#include "base/text.h"
#include "screen/getch.h"

#include <cstring>
#include <curses.h>

namespace {

struct Field {
    char* text;
    int row;
};

void LeaveEntry(const Cursor& cursor, int16_t* mode)
{
    *mode = MODE_ITEMS;
    *cursor.row = ROW_AC_FAIL_DELAY;
    *cursor.col = COL_ITEM_CURSOR;
}

// The index into the field that the screen's cursor stands for, -1 when a screen
// too small for the field has left it elsewhere; it comes back with the next size.
int EditPosition(const Field& field, const Cursor& cursor)
{
    int row = 0;
    int col = 0;
    getyx(stdscr, row, col);
    if (row != field.row || col < ENTRY_COL)
        return -1;
    *cursor.row = row;
    *cursor.col = col;
    return col - ENTRY_COL;
}

void MoveCursor(const Cursor& cursor, int step)
{
    *cursor.col += step;
    move(*cursor.row, *cursor.col);
}

// The character left of the cursor goes, and everything after it.
void DeleteCharacter(const Field& field, const Cursor& cursor)
{
    int position = EditPosition(field, cursor);
    if (position < 1 || position > ENTRY_LENGTH)
        return;
    field.text[position - 1] = '\0';
    MoveCursor(cursor, -1);
}

// The character takes the cursor's place and cuts what stood after it.
void StoreCharacter(const Field& field, char character, const Cursor& cursor)
{
    int position = EditPosition(field, cursor);
    if (position < 0 || position >= ENTRY_LENGTH)
        return;
    field.text[position] = character;
    field.text[position + 1] = '\0';
    MoveCursor(cursor, 1);
}

void EditField(const Field& field, int key, const Cursor& cursor, int16_t* mode,
               const char* savedCopy, int* modified)
{
    switch (key) {
    case KEY_BACKSPACE_OR_DELETE:
        DeleteCharacter(field, cursor);
        break;
    case KEY_ENTER_LINEFEED:
    case KEY_ENTER_RETURN:
        LeaveEntry(cursor, mode);
        if (strcmp(field.text, savedCopy) != 0)
            *modified = 1;
        break;
    case KEY_ESCAPE:
        CopyText(field.text, SETTINGS_TEXT_SIZE, savedCopy);
        LeaveEntry(cursor, mode);
        break;
    default:
        if (key > ' ' && key < 127)
            StoreCharacter(field, static_cast<char>(key), cursor);
        break;
    }
}

} // namespace

void ScreenFunc2(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditField({config.comPort, ROW_DEVICE}, key, {cursorRow, cursorCol}, mode, savedCopy, modified);
}

void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditField({config.snmpCommunity, ROW_COMMUNITY}, key, {cursorRow, cursorCol}, mode, savedCopy,
              modified);
}

void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditField({config.snmpIp, ROW_ADDRESS}, key, {cursorRow, cursorCol}, mode, savedCopy, modified);
}
