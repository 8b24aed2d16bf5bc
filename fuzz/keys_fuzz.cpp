// Keys and resizes into every screen, as it is started by its command. The first letter of an
// input is the screen: o opening screen, l local, r remote, e editor, t the editor's schedule, c
// command center, h help. The second one says how the UPS is reached: s serial port, n network.
// Each further byte is typed, but:
//     0x80  a resize, two bytes: rows and columns    0x81  an idle pass
//     0x82  the daemon shows itself                  0x83  the agent answers, or not any more
//     0x84  a control message, one byte: which       0x85  a value of the agent, two bytes
//     0x86  the settings change to the other way of reaching the UPS
#include "base/system.h"
#include "base/text.h"
#include "config/tolvconf.h"
#include "config/tolvconf_layout.h"
#include "config/tolvconf_schedule.h"
#include "daemon/orders.h"
#include "fuzz/support/agent.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/terminal.h"
#include "fuzz/support/waits.h"
#include "help/tolvhelp.h"
#include "ipc/tolvipc.h"
#include "issuer/tolvissuer.h"
#include "screen/getch.h"
#include "settings/tolv_lib.h"
#include "snmp/snmplib.h"
#include "status/tolvstat_local.h"
#include "status/tolvstat_monitor.h"
#include "status/tolvstat_remote.h"

#include <sys/stat.h>

namespace {

constexpr int MOST_ROWS = 200;
constexpr int MOST_COLS = 255;
constexpr size_t MOST_PASSES = 300;

constexpr char STATUS_REPLY[] = "(230.0 230.0 230.0 035 50.0 13.6 25.0 00000000\r";

void EditSchedule();

struct Screen {
    char letter;
    void (*run)();
};

constexpr Screen SCREENS[] = {
    {'o', [] { tolvan_monitor(); }},
    {'l', [] { tolvan_status_local(1); }},
    {'r', [] { tolvan_status_remote(AGENT_ADDRESS, "public"); }},
    {'e', [] { tolvan_config(); }},
    {'t', EditSchedule},
    {'c', [] { tolvan_issuer(); }},
    {'h', [] { tolvan_help(); }},
};

Input deeds;
size_t passes;
bool isAgentThere;
int value;
int way; // to the UPS: 's' or 'n'

std::vector<std::string> AnswerIfThere(const WireMessage& request)
{
    if (!isAgentThere)
        return {};
    WireMessage answer = request;
    answer.pdu = PDU_RESPONSE;
    for (WireVariable& variable : answer.variables)
        variable.value = Integer(value);
    return {EncodeMessage(answer)};
}

void WriteSettings()
{
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    InitConfig(cfg, sched);
    cfg.commMode = way == 's' ? COMM_SERIAL : COMM_SNMP;
    CopyField(cfg.snmpIp, AGENT_ADDRESS);
    Require(WriteConfig(cfg, sched) == 1, "the settings can be written");
    WriteFile(STATUS_REPLY_PATH, STATUS_REPLY);
}

void ShowDaemon()
{
    static OrderQueues queues = NO_QUEUES;
    ShowPresence(queues);
}

void SendControl()
{
    const char* const texts[] = {CONTROL_STOP, CONTROL_RELOAD, CONTROL_REDRAW, "000"};
    SendMsg(CreateMsgQ(SCREEN_CONTROL_QUEUE), CONTROL_MESSAGE, texts[TakeByte(deeds) & 3]);
}

// Everything but the keys; true when the user has done something that a screen sees at once.
bool ActBesideKeys(int byte, Deed& deed)
{
    switch (byte) {
    case 0x80: {
        int rows = 1 + TakeByte(deeds) % MOST_ROWS;
        deed = {DEED_RESIZE, 0, rows, 1 + TakeByte(deeds) % MOST_COLS};
        return true;
    }
    case 0x81:
        deed = {DEED_NOTHING, 0, 0, 0};
        return true;
    case 0x82:
        ShowDaemon();
        return false;
    case 0x83:
        isAgentThere = !isAgentThere;
        return false;
    case 0x84:
        SendControl();
        return false;
    case 0x85:
        value = TakeNumber<int16_t>(deeds);
        return false;
    case 0x86:
        way = way == 's' ? 'n' : 's';
        WriteSettings();
        return false;
    default:
        deed = {DEED_KEY, static_cast<char>(byte), 0, 0};
        return true;
    }
}

bool ActOnce(Deed& deed)
{
    passes++;
    while (!IsUsedUp(deeds) && passes < MOST_PASSES) {
        if (ActBesideKeys(TakeByte(deeds), deed))
            return true;
    }
    return false;
}

void WriteHelp()
{
    if (mkdir("/etc/wardenlink/help", 0755) != 0)
        return; // it is there, and nothing writes to it
    for (const HelpWindow& window : HELP_WINDOW_TABLE) {
        std::string text;
        for (int line = 0; line < 40; line++)
            text += "line " + std::to_string(line) + "\n";
        WriteFile(window.path, text);
    }
}

// Every input begins with the same world.
void SetUpWorld()
{
    WriteSettings();
    WriteHelp();
    int queues[4];
    Create4MsgQ(&queues[0], &queues[1], &queues[2], &queues[3]);
    ShowDaemon();
    isAgentThere = true;
    value = 2300;
    passes = 0;
    curroption = OPTION_NONE;
    AnswerAsAgent(AnswerIfThere);
    onSleep = ShowDaemon; // the daemon lives
}

bool IsTime(int hour, int minute)
{
    return hour >= -1 && hour <= 23 && minute >= -1 && minute <= 59;
}

// No key of the editor leads into its schedule, but its handler is there: here it has a loop.
void EditSchedule()
{
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    int16_t mode = MODE_SCHEDULE;
    int row = cw_p[ITEM_START_TIMES].row;
    int col = 0;
    int column = 0;
    int modified = 0;
    int alert = ALERT_NONE;
    InitConfig(cfg, sched);
    InitScreen();
    while (mode == MODE_SCHEDULE) {
        DrawString(cfg, sched, row, col, mode, alert);
        ScreenFunc3(cfg, sched, GetCH(), &row, &col, &mode, &column, &modified, &alert);
        for (const ScheduleEntry& entry : sched)
            Require(IsTime(entry.startHour, entry.startMinute) &&
                        IsTime(entry.shutdownHour, entry.shutdownMinute),
                    "only times are entered");
        Require(column >= 0 && column <= 13, "the cursor stays in the table");
    }
}

// What an editor has saved has to be whole.
void CheckSettings()
{
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    Require(ReadConfig(cfg, sched) == 1, "the settings are there");
    Require(ReadFile(POWER_INI).size() == sizeof(cfg) + sizeof(sched), "power.ini is whole");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    deeds = MakeInput(bytes, size);
    int letter = TakeByte(deeds);
    way = TakeByte(deeds);
    SetUpWorld();
    for (const Screen& screen : SCREENS) {
        if (screen.letter == letter)
            RunScreen(screen.run, ActOnce);
    }
    UPS_close();
    CheckSettings();
    RequireFewDescriptors();
    return 0;
}
