#include "status/tolvstat_remote.h"

#include "base/text.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "settings/tolv_lib.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat_agent.h"
#include "status/tolvstat_page.h"

#include <curses.h>

// Whether the remote screen's agent answered in the pass before.
int prevconnection = 0;

namespace {

// The remote screen's own state.
struct RemoteScreen {
    int key;
    int snmpUp;
    int connection;
    int mode;
    int redraw;
};

void PaintRemotePass(RemoteScreen& screen, StatusFields& fields)
{
    if (screen.snmpUp == 0 || screen.connection != 1) {
        PaintNoData(&screen.mode, fields);
        return;
    }
    if (prevconnection != 1)
        StartPanelsAnew();
    if (screen.mode == MODE_PANELS)
        PaintPanels(fields);
    else if (screen.redraw == 1) // never reached: no key of this screen leads there
        ScreenTwo();
}

void RunRemotePass(RemoteScreen& screen, StatusFields& fields, const char* address,
                   const char* community)
{
    TryToOpenSession(&screen.snmpUp);
    if (screen.snmpUp == 1)
        screen.connection = ConnectionStatus();
    if (screen.key == 'r') {
        clear();
        screen.redraw = 1;
    }
    PaintRemotePass(screen, fields);
    if (screen.mode == MODE_PANELS)
        RemoteSNMPLeftText(address, community);
    refresh();
    screen.key = GetCH();
    if (screen.snmpUp == 1)
        prevconnection = screen.connection;
    screen.redraw = 0;
}

} // namespace

int tolvan_status_remote(const char* address, const char* community)
{
    uname(&systemRecord);
    upsconf_load(address, community);
    UPS_init();
    PowerConfig config = {};
    ScheduleEntry schedule[7];
    if (LoadOrCreateConfig(config, schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    InitScreen();
    StatusFields fields = {};
    CopyField(fields.nextShutdown, NO_EVENT);
    CopyField(fields.nextPowerOn, NO_EVENT);
    FormatText(fields.acFailDelayText, sizeof(fields.acFailDelayText), "%d", config.acFailDelay);
    FormatText(fields.upsOffDelayText, sizeof(fields.upsOffDelayText), "%.1f",
               static_cast<double>(config.upsOffDelay));

    RemoteScreen screen = {NO_KEY, 0, -1, MODE_PANELS, 0};
    while (screen.key != 'q')
        RunRemotePass(screen, fields, address, community);
    if (screen.snmpUp == 1)
        UPS_close();
    return endwin();
}
