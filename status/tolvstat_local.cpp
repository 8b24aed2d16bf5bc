#include "status/tolvstat_local.h"

#include "base/system.h"
#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "screen/layout_check.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat_agent.h"
#include "status/tolvstat_comport.h"
#include "status/tolvstat_page.h"

#include <cstring>
#include <curses.h>

// Agent address and community that ReConfig loaded last.
static char bufprevip[SETTINGS_TEXT_SIZE];
static char bufprevcname[SETTINGS_TEXT_SIZE];

// Of SNMP_actions: whether the agent answered and the daemon was present in the pass
// before; whether the first call is behind it.
static int prevconnection = 0;
static int previnst = 0;
static int firstiter = 0;

namespace {

constexpr int PASSES_PER_REREAD = 12; // settings are read again without being told
constexpr int FAILS_BEFORE_NEW_QUEUES = 10;
constexpr int MODEL_WIDTH = SCREEN_COLS - st_p[0].valueCol;

// --- one pass over an agent -------------------------------------------------------------

// What the pass works on, its caller's.
struct AgentPass {
    int key;
    int& mode;
    int& redraw;
    int& snmpUp;
    int& pagePending;
    StatusFields& fields;
    const PowerConfig& config;
};

// The daemon's presence as the caller found it, in the first pass; then one's own test.
int FindDaemon(int daemonPresent)
{
    int present = firstiter == 0 ? daemonPresent : TolvdPresent();
    firstiter = 1;
    return present;
}

void ObeyKey(AgentPass& pass, bool isLive)
{
    if (pass.key == 'b') {
        pass.mode = MODE_PANELS;
        pass.redraw = 1;
        BlankScreen();
    }
    if (pass.key == 'm' && isLive && pass.mode != MODE_INFORMATION) {
        pass.mode = MODE_INFORMATION;
        pass.pagePending = 1;
        BlankScreen();
    }
}

void ShowLive(AgentPass& pass)
{
    if (prevconnection != 1 || previnst != 1) {
        pass.redraw = 1;
        StartPanelsAnew();
    }
    if (pass.mode == MODE_INFORMATION && pass.pagePending == 1) {
        ScreenTwo();
        pass.pagePending = 0;
    }
    if (pass.mode == MODE_PANELS)
        ShowPanels(pass.fields);
}

void RunAgentPass(AgentPass pass, int daemonPresent)
{
    TryToOpenSession(&pass.snmpUp);
    int connection = pass.snmpUp == 1 ? ConnectionStatus() : 0;
    int present = FindDaemon(daemonPresent);
    bool isLive = connection == 1 && present == 1;
    ObeyKey(pass, isLive);
    if (isLive)
        ShowLive(pass);
    else
        PaintNoData(&pass.mode, pass.fields);
    if (pass.mode == MODE_PANELS) {
        PutAgentAddress(pass.config.snmpIp, pass.config.snmpCommunity);
        ParkCursor();
    }
    // The agent is probed a second time: one that was lost while the panels were
    // painted counts as lost, and they are painted anew when it is back. Kept.
    prevconnection = pass.snmpUp == 1 ? ConnectionStatus() : connection;
    previnst = present;
    pass.redraw = 0;
}

// --- following the settings -------------------------------------------------------------

// What may change with the settings, the caller's.
struct Following {
    StatusFields& fields;
    PowerConfig& config;
    ScheduleEntry* schedule;
    int& lastCommMode;
    int& shutdownDue;
    int& mode;
    int& snmpUp;
};

void LoadAgent(const PowerConfig& config, int* snmpUp)
{
    upsconf_load(config.snmpIp, config.snmpCommunity);
    if (*snmpUp == 1)
        UPS_close();
    *snmpUp = UPS_init() == AGENT_ANSWERED ? 1 : 0;
}

void FollowAgent(Following& following)
{
    const PowerConfig& config = following.config;
    bool isOther =
        strcmp(config.snmpIp, bufprevip) != 0 || strcmp(config.snmpCommunity, bufprevcname) != 0;
    if (!isOther && following.snmpUp != 0)
        return;
    LoadAgent(config, &following.snmpUp);
    CopyField(bufprevip, config.snmpIp);
    CopyField(bufprevcname, config.snmpCommunity);
}

void FollowCommMode(Following& following)
{
    if (following.config.commMode == COMM_SNMP) {
        // A second time where the address has just been loaded as well: kept.
        LoadAgent(following.config, &following.snmpUp);
        following.mode = MODE_PANELS;
        prevconnection = 0; // the serial screen's prompt is to be wiped
    } else if (following.config.commMode == COMM_SERIAL) {
        PutBlanks(ValuePlace(st_p[0]), MODEL_WIDTH);
    }
    following.lastCommMode = following.config.commMode;
    BlankScreen();
}

void FollowSettings(Following following)
{
    following.shutdownDue = 0;
    if (ReadConfig(following.config, following.schedule) == 0)
        return;
    GetFromConfig(following.fields, following.config, following.schedule, &following.shutdownDue);
    if (following.config.commMode == COMM_SNMP)
        FollowAgent(following);
    if (following.config.commMode != following.lastCommMode)
        FollowCommMode(following);
}

} // namespace

void SNMP_actions(int key, int* mode, int* redraw, int* snmpUp, int* pagePending,
                  StatusFields& fields, const PowerConfig& config, int daemonPresent)
{
    RunAgentPass({key, *mode, *redraw, *snmpUp, *pagePending, fields, config}, daemonPresent);
}

void ReConfig(StatusFields& fields, PowerConfig& config, ScheduleEntry schedule[7],
              int* lastCommMode, int* shutdownDue, int* mode, int* snmpUp)
{
    FollowSettings({fields, config, schedule, *lastCommMode, *shutdownDue, *mode, *snmpUp});
}

namespace {

// --- the screen -------------------------------------------------------------------------

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
    if (UPS_init() == AGENT_ANSWERED)
        screen.snmpUp = 1;
}

void ShowSerialPass(LocalScreen& screen)
{
    GetData(screen.fields, &screen.failCount);
    if (screen.failCount > FAILS_BEFORE_NEW_QUEUES) {
        screen.failCount = 0;
        OpenQueues(screen); // the daemon may have been started anew
    }
    DrawScreen(screen.fields, screen.shutdownDue);
}

void RereadSettings(LocalScreen& screen)
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
        RereadSettings(screen);
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
        ShowSerialPass(screen);
    if (screen.config.commMode == COMM_SNMP)
        SNMP_actions(screen.key, &screen.mode, &screen.redraw, &screen.snmpUp, &screen.pagePending,
                     screen.fields, screen.config, screen.daemonPresent);
    refresh();
    screen.key = GetCH();
    ObeyControlMessage(screen);
    screen.pass = (screen.pass + 1) % PASSES_PER_REREAD;
    if (screen.pass == 0)
        RereadSettings(screen);
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
