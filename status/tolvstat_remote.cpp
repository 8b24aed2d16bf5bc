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

// Whether the agent answered in the pass before.
static int prevconnection = 0;

namespace {

// Everything the running screen owns.
struct RemoteScreen {
    const char* address;
    const char* community;
    StatusFields fields;
    int key;
    int snmpUp;
    int connection; // 1 = the agent answered in this pass
    int mode;
    int redraw;
};

void RenderSettings(StatusFields& fields, const PowerConfig& config)
{
    CopyField(fields.nextShutdown, NO_EVENT);
    CopyField(fields.nextPowerOn, NO_EVENT);
    FormatText(fields.acFailDelayText, sizeof(fields.acFailDelayText), "%d", config.acFailDelay);
    FormatText(fields.upsOffDelayText, sizeof(fields.upsOffDelayText), "%.1f",
               static_cast<double>(config.upsOffDelay));
}

void ShowConnected(RemoteScreen& screen)
{
    if (prevconnection != 1)
        StartPanelsAnew();
    if (screen.mode == MODE_PANELS)
        ShowPanels(screen.fields);
    else if (screen.redraw == 1) // never reached: no key of this screen leads there
        ScreenTwo();
}

void RunRemotePass(RemoteScreen& screen)
{
    TryToOpenSession(&screen.snmpUp);
    if (screen.snmpUp == 1)
        screen.connection = ConnectionStatus();
    if (screen.key == 'r') {
        clear();
        screen.redraw = 1;
    }
    if (screen.snmpUp == 1 && screen.connection == 1)
        ShowConnected(screen);
    else
        PaintNoData(&screen.mode, screen.fields);
    if (screen.mode == MODE_PANELS)
        RemoteSNMPLeftText(screen.address, screen.community);
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
    UPS_init(); // the result is dropped: the first pass opens the session again. Kept.
    PowerConfig config = {};
    ScheduleEntry schedule[7];
    if (LoadOrCreateConfig(config, schedule) == 0) {
        PrintSettingsError();
        return -1;
    }
    InitScreen();
    RemoteScreen screen = {address, community, {}, NO_KEY, 0, -1, MODE_PANELS, 0};
    RenderSettings(screen.fields, config);
    while (screen.key != 'q')
        RunRemotePass(screen);
    if (screen.snmpUp == 1)
        UPS_close();
    return endwin();
}
