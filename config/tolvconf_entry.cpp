#include "config/tolvconf_entry.h"

#include "config/getch.h"
#include "config/tolvconf_value.h"

#include <cstring>
#include <curses.h>

namespace {

void LeaveEntry(const Cursor& cursor, int16_t* mode)
{
    *mode = MODE_ITEMS;
    *cursor.row = ROW_AC_FAIL_DELAY;
    *cursor.col = COL_ITEM_CURSOR;
}

// The index into the field that the screen's cursor stands for, -1 when a screen
// too small for the field has left it elsewhere; it comes back with the next size.
int EditPosition(const Cursor& cursor)
{
    int row = 0;
    int col = 0;
    getyx(stdscr, row, col);
    if (row != *cursor.row || col < ENTRY_COL)
        return -1;
    *cursor.col = col;
    return col - ENTRY_COL;
}

void MoveCursor(const Cursor& cursor, int step)
{
    *cursor.col += step;
    move(*cursor.row, *cursor.col);
}

// The character left of the cursor goes, and everything after it.
void DeleteCharacter(char* field, const Cursor& cursor)
{
    int position = EditPosition(cursor);
    if (position < 1 || position > ENTRY_LENGTH)
        return;
    field[position - 1] = '\0';
    MoveCursor(cursor, -1);
}

// The character takes the cursor's place and cuts what stood after it.
void StoreCharacter(char* field, char character, const Cursor& cursor)
{
    int position = EditPosition(cursor);
    if (position < 0 || position >= ENTRY_LENGTH)
        return;
    field[position] = character;
    field[position + 1] = '\0';
    MoveCursor(cursor, 1);
}

void EditField(char* field, int key, const Cursor& cursor, int16_t* mode, const char* savedCopy,
               int* modified)
{
    switch (key) {
    case KEY_BACKSPACE_OR_DELETE:
        DeleteCharacter(field, cursor);
        break;
    case KEY_ENTER_LINEFEED:
    case KEY_ENTER_RETURN:
        LeaveEntry(cursor, mode);
        if (strcmp(field, savedCopy) != 0)
            *modified = 1;
        break;
    case KEY_ESCAPE:
        CopyText(field, SETTINGS_TEXT_SIZE, savedCopy);
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
    EditField(config.comPort, key, {cursorRow, cursorCol}, mode, savedCopy, modified);
}

void ScreenFunc4(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditField(config.snmpCommunity, key, {cursorRow, cursorCol}, mode, savedCopy, modified);
}

void ScreenFunc5(PowerConfig& config, int key, int* cursorRow, int* cursorCol, int16_t* mode,
                 char* savedCopy, int* modified)
{
    EditField(config.snmpIp, key, {cursorRow, cursorCol}, mode, savedCopy, modified);
}
