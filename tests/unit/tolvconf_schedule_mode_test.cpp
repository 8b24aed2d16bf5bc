// The schedule mode of the editor: every key over all rows and columns of the table, and the
// alerts on a screen of the test's own.
#include "config/tolvconf.h"
#include "config/tolvconf_layout.h"
#include "config/tolvconf_schedule.h"
#include "config/tolvconf_value.h"
#include "tests/unit/support/curses_screen.h"
#include "tests/unit/support/held.h"
#include "tests/unit/support/settings_image.h"

#include <ostream>
#include <string>

namespace {

// The editor's state around one key.
struct Mode3 {
    Held held = Defaults();
    int row = 15;
    int col = 20;
    int16_t mode = 3;
    int column = 0;
    int modified = 0;
    int alert = 0;
};

bool operator==(const Mode3& one, const Mode3& other)
{
    return ImageOf(one.held.config, one.held.schedule) ==
               ImageOf(other.held.config, other.held.schedule) &&
           one.row == other.row && one.col == other.col && one.mode == other.mode &&
           one.column == other.column && one.modified == other.modified && one.alert == other.alert;
}

std::ostream& operator<<(std::ostream& out, const Mode3& state)
{
    return out << "row " << state.row << " col " << state.col << " mode " << state.mode
               << " column " << state.column << " modified " << state.modified << " alert "
               << state.alert;
}

void Press(Mode3& state, int key)
{
    ScreenFunc3(state.held.config, state.held.schedule, key, &state.row, &state.col, &state.mode,
                &state.column, &state.modified, &state.alert);
}

struct ScheduleMode : CursesScreen {};

// How many cells of the screen stand in reverse.
int CountStandout()
{
    int count = 0;
    for (int row = 0; row < 25; row++) {
        for (int col = 0; col < 80; col++)
            count += (mvinch(row, col) & A_STANDOUT) != 0 ? 1 : 0;
    }
    return count;
}

const std::string TOO_CLOSE = "(Start Time Too Close to Shutdown Time!)";
const int COLUMNS_OF_TABLE[14] = {20, 23, 27, 30, 34, 37, 41, 44, 48, 51, 55, 58, 62, 65};

// What a key other than Enter is to do.
Mode3 Expected(Mode3 state, int key)
{
    int32_t& cell = Cell(state.held.schedule, state.row, state.column);
    int most = state.column % 2 == 0 ? 23 : 59;
    switch (key) {
    case '+':
    case 'i':
        cell = cell == most ? -1 : cell + 1;
        state.modified = 1;
        break;
    case '-':
    case 'm':
        cell = cell == -1 ? most : cell - 1;
        state.modified = 1;
        break;
    case 'u':
    case 'd':
    case 'A':
    case 'B':
        if (state.held.config.turnOffUps == 0)
            state.alert = 1;
        else
            state.row = 31 - state.row;
        break;
    case 'r':
    case 'C':
        state.column = state.column == 13 ? 0 : state.column + 1;
        state.col = COLUMNS_OF_TABLE[state.column];
        state.alert = 0;
        break;
    case 'l':
    case 'D':
        state.column = state.column == 0 ? 13 : state.column - 1;
        state.col = COLUMNS_OF_TABLE[state.column];
        state.alert = 0;
        break;
    default:
        break;
    }
    return state;
}

void ExpectEveryKey(const Mode3& before)
{
    for (int key = -128; key < 256; key++) {
        if (key == 10 || key == 13)
            continue;
        Mode3 after = before;
        Press(after, key);
        EXPECT_EQ(after, Expected(before, key)) << "key " << key << " on " << before;
    }
}

TEST_F(ScheduleMode, TakesEveryKeyInEveryRowAndColumn)
{
    for (int turnOff : {0, 1, -1}) {
        for (int alert : {0, 1, 2}) {
            for (int row : {15, 16}) {
                for (int column = 0; column < 14; column++) {
                    Mode3 before;
                    before.held.config.turnOffUps = turnOff;
                    before.alert = alert;
                    before.row = row;
                    before.column = column;
                    before.col = COLUMNS_OF_TABLE[column];
                    ExpectEveryKey(before);
                }
            }
        }
    }
    EXPECT_EQ(CellText(12, 0, 80), Blanks(80)) << "none of them writes";
}

TEST_F(ScheduleMode, EndsWithEnterWhenTheTableIsGood)
{
    for (int key : {10, 13}) {
        Mode3 state;
        state.row = 16;
        state.column = 9;
        state.col = 51;
        state.alert = 1;
        state.held.schedule[2] = {8, 4, 8, -1};
        mvaddstr(12, 0, std::string(80, '#').c_str());
        Press(state, key);
        Mode3 wanted;
        wanted.row = 3;
        wanted.col = 63;
        wanted.mode = 1;
        wanted.held.schedule[2] = {8, 4, 8, 0};
        EXPECT_EQ(state, wanted);
        EXPECT_EQ(CellText(12, 34, 46), "##" + Blanks(44));
    }
}

TEST_F(ScheduleMode, RefusesToEndWhenAStartIsTooClose)
{
    for (int key : {10, 13}) {
        erase();
        Mode3 state;
        state.column = 4;
        state.col = 34;
        state.alert = 1;
        state.held.schedule[5] = {8, 3, 8, 0};
        Mode3 wanted = state;
        wanted.alert = 2;
        Press(state, key);
        EXPECT_EQ(state, wanted);
        EXPECT_EQ(CellText(12, 0, 80), Blanks(36) + TOO_CLOSE + Blanks(4));
        EXPECT_EQ(CountStandout(), 40);
        EXPECT_NE(mvinch(12, 36) & A_STANDOUT, 0U);
        addstr("x");
        EXPECT_EQ(CountStandout(), 39) << "what is written next is plain";
    }
}

TEST_F(ScheduleMode, KeepsARefusalFlaggedAfterALaterGoodEnter)
{
    Mode3 state;
    state.held.schedule[0] = {8, 0, 8, 0};
    Press(state, 13);
    state.held.schedule[0] = {9, 0, 8, 0};
    Press(state, 13);
    EXPECT_EQ(state.mode, 1);
    EXPECT_EQ(state.alert, 2);
    EXPECT_EQ(CellText(12, 36, 40), Blanks(40));
}

TEST_F(ScheduleMode, TakesArrowKeysByteByByte)
{
    struct {
        char last;
        int row, column;
    } const cases[] = {{'A', 16, 1}, {'B', 16, 1}, {'C', 15, 2}, {'D', 15, 0}};
    for (const auto& test : cases) {
        Mode3 state;
        state.column = 1;
        for (int key : {27, static_cast<int>('['), static_cast<int>(test.last)})
            Press(state, key);
        EXPECT_EQ(state.row, test.row) << test.last;
        EXPECT_EQ(state.column, test.column) << test.last;
    }
}

// --- the painter's alerts --------------------------------------------------------------------

void Draw(const Held& held, int row, int col, int mode, int alert)
{
    DrawString(held.config, held.schedule, row, col, mode, alert);
}

TEST_F(ScheduleMode, ShowsTheToggleAlertAndPutsTheCursorBack)
{
    Held held = Defaults();
    held.config.scheduleOn = 1;
    Draw(held, 16, 20, 3, 1);
    EXPECT_EQ(getcury(stdscr), 16);
    EXPECT_EQ(getcurx(stdscr), 20);
    EXPECT_EQ(CountStandout(), 36);
    EXPECT_EQ(CellText(12, 36, 38), " (Toggle [a] to set Automatic Reboot) ");
    Draw(held, 16, 20, 3, 0);
    EXPECT_EQ(CountStandout(), 0);
    EXPECT_EQ(CellText(12, 0, 80), Blanks(80));
}

TEST_F(ScheduleMode, WipesTheAlertPlaceByCursorRowAndAlert)
{
    Held held = Defaults();
    held.config.scheduleOn = 1;
    struct {
        int row, alert;
        bool isWiped;
    } const cases[] = {{15, 0, true}, {16, 0, true},  {3, 0, true},  {15, 1, false},
                       {16, 1, true}, {15, 2, false}, {16, 2, false}};
    for (const auto& test : cases) {
        mvaddstr(12, 0, std::string(80, '#').c_str());
        Draw(held, test.row, 20, 3, test.alert);
        // The last cells of the place, where no text stands.
        EXPECT_EQ(CellText(12, 74, 6), test.isWiped ? "   ###" : "######")
            << test.row << " " << test.alert;
        if (test.alert == 2) { // of the other form: no text at all
            EXPECT_EQ(CellText(12, 41, 39), std::string(39, '#'));
        }
    }
}

} // namespace
