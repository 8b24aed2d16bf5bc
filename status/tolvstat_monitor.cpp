#include "status/tolvstat_monitor.h"

#include "base/text.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "settings/tolv_lib.h"
#include "status/tolvstat.h"

#include <curses.h>

namespace {

struct OpeningScreen {
    int mode;
    int row;
    int col;
    char address[ENTRY_TEXT_SIZE];
    char community[ENTRY_TEXT_SIZE];
};

// 1 = stay, 0 = leave.
int HandleKey(OpeningScreen& screen, int key)
{
    if (screen.mode == ENTRY_ADDRESS)
        EditIPADDRESS(key, &screen.mode, &screen.col, &screen.row, screen.address);
    else if (screen.mode == ENTRY_COMMUNITY)
        EditCOMMUNITYNAME(key, &screen.mode, &screen.col, &screen.row, screen.community);
    else
        return Opening_Text(key, &screen.mode, &screen.col, &screen.row, screen.address,
                            screen.community);
    return 1;
}

void Paint(const OpeningScreen& screen)
{
    BasicScreen(1);
    PlaceTXT(screen.address, screen.community, screen.row, screen.col);
    refresh();
}

} // namespace

int tolvan_monitor()
{
    PowerConfig config = {};
    ScheduleEntry schedule[7];
    if (LoadOrCreateConfig(config, schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    OpeningScreen screen = {ENTRY_CHOOSE, 0, 0, "", ""};
    CopyField(screen.address, config.snmpIp);
    CopyField(screen.community, config.snmpCommunity);
    uname(&systemRecord);
    InitScreen();
    int staying = HandleKey(screen, 'r');
    while (staying == 1) {
        Paint(screen);
        int key = GetCH();
        if (key == KEY_ENTER_RETURN) // of a terminal that does not translate it
            key = KEY_ENTER_LINEFEED;
        if (key != NO_KEY)
            staying = HandleKey(screen, key);
    }
    return 0;
}
