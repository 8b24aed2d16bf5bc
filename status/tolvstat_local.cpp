#include "status/tolvstat_local.h"

#include "base/system.h"
#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat_agent.h"
#include "status/tolvstat_comport.h"
#include "status/tolvstat_page.h"

#include <cstring>
#include <curses.h>

char bufprevip[SETTINGS_TEXT_SIZE];
char bufprevcname[SETTINGS_TEXT_SIZE];

// Of SNMP_actions: the daemon was present in the pass before; the first call is
// behind it.
int previnst = 0;
int firstiter = 0;

namespace {

constexpr int PASSES_PER_REREAD = 12; // settings are read again without being told
constexpr int FAILS_BEFORE_NEW_QUEUES = 10;

// What SNMP_actions remembers of its own agent, beside the remote screen's.
struct LocalPassState {
    int prevconnection;
};
LocalPassState localPass;

void LoadAgent(const PowerConfig& config, int* snmpUp)
{
    upsconf_load(config.snmpIp, config.snmpCommunity);
    if (*snmpUp == 1)
        UPS_close();
    *snmpUp = UPS_init() != -1 ? 1 : 0;
}

} // namespace

void SNMP_actions(int key, int* mode, int* redraw, int* snmpUp, int* pagePending,
                  StatusFields& fields, const PowerConfig& config, int daemonPresent)
{
    TryToOpenSession(snmpUp);
    int connection = *snmpUp == 1 ? ConnectionStatus() : 0;
    int present = firstiter == 0 ? daemonPresent : TolvdPresent();
    firstiter = 1;
    bool isLive = *snmpUp == 1 && connection == 1 && present == 1;

    if (key == 'b') {
        *mode = MODE_PANELS;
        *redraw = 1;
        BlankScreen();
    }
    if (key == 'm' && isLive && *mode != MODE_INFORMATION) {
        *mode = MODE_INFORMATION;
        *pagePending = 1;
        BlankScreen();
    }
    if (isLive) {
        if (localPass.prevconnection != 1 || previnst != 1) {
            *redraw = 1;
            StartPanelsAnew();
        }
        if (*mode == MODE_INFORMATION && *pagePending == 1) {
            ScreenTwo();
            *pagePending = 0;
        }
        if (*mode == MODE_PANELS)
            PaintPanels(fields);
    } else {
        PaintNoData(mode, fields);
    }
    if (*mode == MODE_PANELS) {
        PutAgentAddress(config.snmpIp, config.snmpCommunity);
        ParkCursor();
    }
    localPass.prevconnection = *snmpUp == 1 ? ConnectionStatus() : connection;
    previnst = present;
    *redraw = 0;
}

void ReConfig(StatusFields& fields, PowerConfig& config, ScheduleEntry schedule[7],
              int* lastCommMode, int* shutdownDue, int* mode, int* snmpUp)
{
    *shutdownDue = 0;
    if (ReadConfig(config, schedule) == 0)
        return;
    GetFromConfig(fields, config, schedule, shutdownDue);
    bool isOtherAgent =
        strcmp(config.snmpIp, bufprevip) != 0 || strcmp(config.snmpCommunity, bufprevcname) != 0;
    if (config.commMode == COMM_SNMP && (isOtherAgent || *snmpUp == 0)) {
        LoadAgent(config, snmpUp);
        CopyField(bufprevip, config.snmpIp);
        CopyField(bufprevcname, config.snmpCommunity);
    }
    if (config.commMode == *lastCommMode)
        return;
    if (config.commMode == COMM_SNMP) {
        LoadAgent(config, snmpUp);
        *mode = MODE_PANELS;
        localPass.prevconnection = 0; // the serial screen's prompt is to be wiped
    } else if (config.commMode == COMM_SERIAL) {
        PutBlanks(ValuePlace(st_p[0]), 38);
    }
    *lastCommMode = config.commMode;
    BlankScreen();
}

namespace {

// Everything the running screen owns.
struct LocalScreen {
    PowerConfig config;
    ScheduleEntry schedule[7];
    StatusFields fields;
    int key;
    int failCount; // refreshes in a row without a status line
    int pass;      // modulo PASSES_PER_REREAD
    int shutdownDue;
    int lastCommMode;
    int mode; // MODE_PANELS or MODE_INFORMATION
    int pagePending;
    int snmpUp;
    int redraw;
    int daemonPresent;
    int controlQueue;
};

void OpenQueues(LocalScreen& screen)
{
    int data = -1;
    int heartbeat = -1;
    int daemonControl = -1;
    Create4MsgQ(&data, &heartbeat, &daemonControl, &screen.controlQueue);
}

void StartAgent(LocalScreen& screen)
{
    upsconf_load(screen.config.snmpIp, screen.config.snmpCommunity);
    screen.lastCommMode = COMM_SNMP;
    if (UPS_init() == 1)
        screen.snmpUp = 1;
}

void PaintSerialPass(LocalScreen& screen)
{
    GetData(screen.fields, &screen.failCount);
    if (screen.failCount > FAILS_BEFORE_NEW_QUEUES) {
        screen.failCount = 0;
        OpenQueues(screen); // the daemon may have been started anew
    }
    DrawScreen(screen.fields, screen.shutdownDue);
}

void FollowSettings(LocalScreen& screen)
{
    ReConfig(screen.fields, screen.config, screen.schedule, &screen.lastCommMode,
             &screen.shutdownDue, &screen.mode, &screen.snmpUp);
}

void ForceRedraw(LocalScreen& screen)
{
    clear();
    screen.redraw = 1;
}

void ObeyControlMessage(LocalScreen& screen)
{
    switch (ReadCtrlMsg(screen.controlQueue)) {
    case CTRL_RELOAD:
        FollowSettings(screen);
        screen.redraw = 1;
        break;
    case CTRL_REDRAW:
        ForceRedraw(screen);
        break;
    default:
        break;
    }
}

void RunLocalPass(LocalScreen& screen)
{
    SOpenTextFile();
    if (screen.config.commMode == COMM_SERIAL)
        PaintSerialPass(screen);
    if (screen.config.commMode == COMM_SNMP)
        SNMP_actions(screen.key, &screen.mode, &screen.redraw, &screen.snmpUp, &screen.pagePending,
                     screen.fields, screen.config, screen.daemonPresent);
    refresh();
    screen.key = GetCH();
    ObeyControlMessage(screen);
    screen.pass = (screen.pass + 1) % PASSES_PER_REREAD;
    if (screen.pass == 0)
        FollowSettings(screen);
    if (screen.key == 'r') {
        ForceRedraw(screen);
        screen.pagePending = 1;
    }
}

} // namespace

int tolvan_status_local(int daemonPresent)
{
    LocalScreen screen = {};
    screen.key = NO_KEY;
    screen.mode = MODE_PANELS;
    screen.daemonPresent = daemonPresent;
    SOpenTextFile();
    uname(&systemRecord);
    InitConfig(screen.config, screen.schedule); // what a short file leaves out
    if (ReadConfig(screen.config, screen.schedule) == 0)
        return printf("%s not found!\n", POWER_INI_PATH);
    GetFromConfig(screen.fields, screen.config, screen.schedule, &screen.shutdownDue);
    if (screen.config.commMode == COMM_SNMP)
        StartAgent(screen);
    OpenQueues(screen);
    ClearMsgQ(screen.controlQueue);
    InitScreen();
    clear();
    while (screen.key != 'q')
        RunLocalPass(screen);
    return endwin();
}
