// The text entry's handlers, called with the screen's cursor where the user left it.
#include "base/text.h"
#include "config/tolvconf_entry.h"
#include "screen/getch.h"
#include "tests/unit/support/curses_screen.h"
#include "tests/unit/support/held.h"

#include <string>

namespace {

struct Entry : CursesScreen {
    Held held = Defaults();
    char saved[SETTINGS_TEXT_SIZE] = "saved";
    int row = 0;
    int col = 0;
    int16_t mode = 4;
    int modified = 0;

    void Press(int key)
    {
        ScreenFunc4(held.config, key, &row, &col, &mode, saved, &modified);
    }

    void Type(const std::string& text)
    {
        for (char letter : text)
            Press(letter);
    }

    // The screen's cursor, not only the caller's, is the edit position.
    void ExpectCursor(int expectedRow, int expectedCol)
    {
        EXPECT_EQ(getcury(stdscr), expectedRow);
        EXPECT_EQ(getcurx(stdscr), expectedCol);
        EXPECT_EQ(row, expectedRow);
        EXPECT_EQ(col, expectedCol);
    }
};

} // namespace

TEST_F(Entry, TakesItsPositionFromTheScreenWhateverTheCallerHolds)
{
    CopyText(held.config.snmpCommunity, SETTINGS_TEXT_SIZE, "public");
    move(7, 35);
    Press('X');
    EXPECT_STREQ(held.config.snmpCommunity, "puX");
    ExpectCursor(7, 36);
    row = 3;
    col = 63;
    Press(KEY_BACKSPACE_OR_DELETE);
    EXPECT_STREQ(held.config.snmpCommunity, "pu");
    ExpectCursor(7, 35);
}

TEST_F(Entry, EditsEachFieldOnItsOwnRow)
{
    move(7, 33);
    ScreenFunc2(held.config, 'd', &row, &col, &mode, saved, &modified);
    EXPECT_STREQ(held.config.comPort, "d");
    ExpectCursor(7, 34);
    move(8, 33);
    ScreenFunc5(held.config, '9', &row, &col, &mode, saved, &modified);
    EXPECT_STREQ(held.config.snmpIp, "9");
    ExpectCursor(8, 34);
}

TEST_F(Entry, HoldsTwentyNineCharacters)
{
    move(7, 33);
    Type("abcdefghijklmnopqrstuvwxyz0123");
    EXPECT_STREQ(held.config.snmpCommunity, "abcdefghijklmnopqrstuvwxyz012");
    ExpectCursor(7, 62);
}

TEST_F(Entry, RubsOutToTheFirstColumnAndNoFurther)
{
    move(7, 33);
    Type("ab");
    for (int times = 0; times < 4; times++)
        Press(KEY_BACKSPACE_OR_DELETE);
    EXPECT_STREQ(held.config.snmpCommunity, "");
    ExpectCursor(7, 33);
}

// On a terminal too small for the field the cursor stands somewhere else.
TEST_F(Entry, ChangesNothingWhereTheCursorIsNotInTheField)
{
    CopyText(held.config.snmpCommunity, SETTINGS_TEXT_SIZE, "public");
    struct {
        int row;
        int col;
    } const places[] = {{0, 0}, {6, 40}, {8, 40}, {7, 32}, {7, 79}, {24, 79}};
    for (const auto& place : places) {
        for (int key : {static_cast<int>('x'), KEY_BACKSPACE_OR_DELETE}) {
            move(place.row, place.col);
            Press(key);
            EXPECT_STREQ(held.config.snmpCommunity, "public") << place.row << ", " << place.col;
            EXPECT_EQ(getcury(stdscr), place.row);
            EXPECT_EQ(getcurx(stdscr), place.col);
        }
    }
    EXPECT_EQ(mode, 4);
    EXPECT_EQ(modified, 0);
}
