// The command center's routines on a screen of the test's own, without an agent.
#pragma once

#include "issuer/tolvissuer.h"
#include "settings/tolv_lib.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "tests/unit/support/curses_screen.h"

#include <cstring>

inline constexpr int SNMP = 1;
inline constexpr int SERIAL = 0;
inline constexpr char PROMPT[] = "Press [p] to proceed, [Esc] to cancel";

inline PowerConfig ConfigOf(int mode)
{
    PowerConfig config = {};
    config.commMode = mode;
    return config;
}

// What the last write of a whole row left, without the blanks behind it.
inline std::string RowText(int row, int col)
{
    std::string text = CellText(row, col, 80 - col);
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

// A screen in a mode without an agent: what is asked is unanswered at once.
struct Issuer : CursesScreen {
    PowerConfig config = ConfigOf(SNMP);
    char durationText[4] = "##"; // a guard byte behind the two digits and their end
    int sleepMinutes = -1;

    void SetUp() override
    {
        CursesScreen::SetUp();
        upsconf_load("127.0.0.1", "public");
        Show(3); // the minutes are kept from the test before
        Type('-', 98);
        erase();
        curroption = 0;
        sleepMinutes = -1;
        durationText[3] = '#';
    }

    // The minutes that the panel on the screen shows.
    static int ShownMinutes()
    {
        return std::stoi(CellText(17, 33, 2));
    }

    void Show(int option, int key = -1)
    {
        curroption = option;
        DoOptions(config, key, durationText, &sleepMinutes);
    }

    void Type(int key, int times)
    {
        for (int i = 0; i < times; i++)
            DoOptions(config, key, durationText, &sleepMinutes);
    }

    // Letters all over the screen: what is not written over stays.
    static void Fill()
    {
        for (int row = 0; row < 25; row++)
            mvhline(row, 0, 'x', 80);
    }

    // Whether exactly the cells first to last of a row are blank, all others being letters.
    static void ExpectWiped(int row, int first, int last)
    {
        std::string wanted(80, 'x');
        size_t count = static_cast<size_t>(last - first + 1);
        wanted.replace(static_cast<size_t>(first), count, count, ' ');
        EXPECT_EQ(CellText(row, 0, 80), wanted) << "row " << row;
    }
};
