// The painter over a screen full of '#': what it writes, how far it wipes, and what it leaves
// alone. What stands under the strips of blanks is seen nowhere else.
#include "base/text.h"
#include "config/tolvconf_layout.h"
#include "tests/unit/support/curses_screen.h"
#include "tests/unit/support/held.h"

#include <map>
#include <string>

namespace {

using Rows = std::map<int, std::string>;

// Rows that look the same in every communication mode; row 1 holds the time.
const Rows COMMON = {
    {0, "#(SNMP WardenLink for Linux) UPS Configuration Utility, Ver. 3.4################"},
    {2, "################################################################################"},
    {3, "#########[d] System Shutdown Delay Time When AC Power Failed:  2.0 Hrs.#########"},
    {4, "#########[b] System Shutdown Delay Time When Battery Low    :  1.0 Min.#########"},
    {5, "#########[u] UPS Turn Off Delay Time                        :  3.0 Min.#########"},
    {9, "#########[n] Shutdown Count Down Display:#ON ###################################"},
    {10, "#########                                #######################################"},
    {11, "#########[a] Turn off UPS after System Shutdown:#YES############################"},
    {12, "#########                                                                    ###"},
    {13, "################################################################################"},
    {14, "#########                                #######################################"},
    {15, "#########                                                           ############"},
    {16, "#########                                                           ############"},
    {17, "################################################################################"},
    {18, "#########[s] Save Configuration. ##                    #########################"},
    {19, "#########[q] Quit.                                             #################"},
    {20, "################################################################################"},
    {21, "#########Press the letters in brackets to select items.         ################"},
    {22, "#########Press [+], [-], or [i], [m] to change values.           ###############"},
    {23, "#########Press [r] to redraw screen.############################################"},
    {24, "################################################################################"},
};
const Rows SERIAL = {
    {6, "#########                                                     48.0  ############"},
    {7, "#########                        /dev/ttyS0                                  ###"},
    {8, "#########                                                                 ######"},
};
const Rows SNMP = {
    {6, "#########                                                                 ######"},
    {7, "#########[o] Community Name   :  public                                   ######"},
    {8, "#########[p] Ip Address       :  192.0.2.10                               ######"},
};
const Rows UNKNOWN = {
    {6, "#########                                                     48.0  ############"},
    {7, "################################################################################"},
    {8, "################################################################################"},
};

struct Painter : CursesScreen {
    Held held = Defaults();

    void Draw(int row, int mode)
    {
        for (int line = 0; line < 25; line++)
            mvaddstr(line, 0, std::string(80, '#').c_str());
        DrawString(held.config, held.schedule, row, 63, mode, ALERT_NONE);
    }

    void ExpectRows(const Rows& rows)
    {
        for (const auto& [row, text] : rows)
            EXPECT_EQ(CellText(row, 0, 80), text) << "row " << row;
    }
};

} // namespace

TEST_F(Painter, WipesAsFarAsItsStripsGo)
{
    held.config.acFailDelay = 179;
    held.config.batteryRating = 48.0F;
    CopyField(held.config.comPort, "/dev/ttyS0");
    CopyField(held.config.snmpIp, "192.0.2.10");
    const std::map<int, Rows> cases = {{0, SERIAL}, {1, SNMP}, {2, UNKNOWN}};
    for (const auto& [commMode, rows] : cases) {
        held.config.commMode = commMode;
        Draw(3, MODE_ITEMS);
        ExpectRows(COMMON);
        ExpectRows(rows);
    }
}

TEST_F(Painter, CoversTheHelpOfTheModeBefore)
{
    for (int mode = MODE_DEVICE; mode <= MODE_ADDRESS; mode++) {
        Draw(3, mode);
        EXPECT_EQ(CellText(21, 64, 16), std::string(16, '#')) << mode;
        EXPECT_EQ(CellText(22, 64, 16), std::string(16, '#')) << mode;
        EXPECT_EQ(CellText(23, 36, 44), std::string(44, '#')) << mode;
        for (int row : {21, 22, 23})
            EXPECT_EQ(CellText(row, 9, 27).find('#'), std::string::npos) << mode;
    }
}

TEST_F(Painter, LeavesAMessageAloneWhileTheCursorIsOnItsRow)
{
    Draw(18, MODE_ITEMS);
    ExpectRows({{18, "#########[s] Save Configuration. ##(Save Completed!)" + std::string(28, '#')},
                {19, COMMON.at(19)},
                {12, COMMON.at(12)}});
    Draw(19, MODE_ITEMS);
    ExpectRows({{18, COMMON.at(18)},
                {19, "#########[q] Quit. (Press [q] again to quit without saving!)" +
                         std::string(20, '#')},
                {12, COMMON.at(12)}});
    held.config.scheduleOn = 0;
    Draw(15, MODE_ITEMS);
    ExpectRows({{18, COMMON.at(18)},
                {12, "#########" + Blanks(28) + "(Turn Schedule Function ON first!)      ###"}});
}
