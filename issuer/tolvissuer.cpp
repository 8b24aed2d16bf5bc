#include "issuer/tolvissuer.h"

#include "base/system.h"
#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <curses.h>

int curroption = OPTION_NONE;
int dur = 1;

// clang-format off
const char ISSNMP[ISSUER_SNMP_LINES][80] = {
    "[s]  Shut Down UPS\t            [f]  Flash and Beep",
    "[c]  Cancel Shut Down Command\t    [i]  Test Indicators",
    "[o]  Turn On UPS\t\t\t\t\t",
    "\t\t\t\t\t\t\t",
    "[u]  Reboot UPS\t\t\t\t\t",
    "[l]  Put UPS to Sleep\t\t\t\t\t",
    "[m]  Simulate Power Fail\t\t\t\t",
    "[b]  Conserve Battery\t\t\t\t\t",
    "\t\t\t\t\t\t\t",
    "[d]  Diagnostic Self Test              [r]  Redraw\t",
    "[t]  Test Run Time Calibration         [q]  Quit\t",
};

const char ISCOMPORT[ISSUER_SERIAL_LINES][50] = {
    "[s]  10 Seconds Test\t\t\t",
    "[b]  Test until Battery Low\t\t",
    "                                \t", // the timed test has no key
    "[c]  Cancel Test Command\t\t",
    "\t\t\t\t\t",
    "[n]  Shut Down UPS \t\t\t",
    "[a]  Cancel Shut Down Command          ",
    "\t\t\t\t\t",
    "[r]  Redraw\t\t\t\t",
    "[q]  Quit\t\t\t\t",
};

const char IS_SNMP_DESC[ISSUER_SNMP_OPTIONS + 1][79] = {
    "\tPress the letter of your choice.\t\t\t",
    "\tUPS will shut down in 12 seconds.  \t\t\t",
    "\tReboots the UPS.\t\t  \t\t\t",
    "\tPut UPS to sleep.\t\t\t\t\t",
    "\tSwitch to Battery Power.\t\t\t\t",
    "\tLights up all indicators and starts beeping.\t\t",
    "\tSwitch back to utility power.\t\t\t\t",
    "\tUPS on battery will go to sleep mode.  \t\t\t",
    "\t10 seconds self-test.\t\t\t\t\t",
    "\tPerform a front panel lights test.\t\t\t",
    "\tDischarge to calibrate the UPS\t\t\t\t",
};

const char IS_CPORT_DESC[ISSUER_SERIAL_OPTIONS + 1][79] = {
    "\tPress the letter of your choice.\t\t\t",
    "\tTest for 10 seconds then return to utility.\t\t",
    "\tTest until battery low then return to utility. \t\t",
    "\tTest for <n> minutes.\t\t\t\t\t",
    "\tUPS will shut down in a few seconds.\t\t\t",
    "\tCancel Shut Down Command or Turn on UPS Output.\t\t",
    "\tCancel Test Command.\t\t\t\t\t",
};
// clang-format on

namespace {

// Options that need more than a description and a command.
constexpr int SNMP_TURN_OFF = 1;
constexpr int SNMP_SLEEP = 3;
constexpr int SNMP_CONSERVE = 7;
constexpr int SERIAL_TIMED_TEST = 3;

constexpr int ARMED_DELAY = 12; // seconds until the UPS turns off
constexpr int DURATION_MIN = 1;
constexpr int DURATION_MAX = 99;

// Rows 3 to 13 hold the menu, rows 16 to 22 the panel of the pending command.
constexpr int MENU_ROW = 3;
constexpr int MENU_COL = 6;
constexpr int DESCRIPTION_ROW = 16;
constexpr int DESCRIPTION_COL = 2;
constexpr int PANEL_ROW = 17; // first row that a cancelled command wipes
constexpr int PANEL_COL = 8;
constexpr int DURATION_COL = 33;
constexpr int CONDITION_ROW = 21;
constexpr int PROMPT_ROW = 22;
constexpr int PROMPT_COL = 15;
constexpr int WIPE_LENGTH = 73;

// clang-format off
struct OptionKey {
    int key;
    int option;
};

constexpr OptionKey SNMP_KEYS[] = {
    {'s', 1}, {'u', 2}, {'l', 3}, {'m', 4}, {'f', 5}, {'c', 6}, {'o', 6},
    {'b', 7}, {'d', 8}, {'i', 9}, {'t', 10},
};

// The timed test, option 3, has no key in this version.
constexpr OptionKey SERIAL_KEYS[] = {
    {'s', 1}, {'b', 2}, {'n', 4}, {'a', 5}, {'c', 6},
};

// What an option writes. Some agents lack an object: it is then read first.
struct SnmpCommand {
    const char* objectId;
    bool isReadFirst;
};

constexpr SnmpCommand SNMP_COMMANDS[] = {
    {nullptr, false},
    {OID_TURN_OFF, false},
    {OID_REBOOT, false},
    {OID_SLEEP, false},
    {OID_SIMULATE_FAILURE, false},
    {OID_FLASH_AND_BEEP, true},
    {OID_TURN_ON, false},
    {OID_CONSERVE_BATTERY, false},
    {OID_SELF_TEST, false},
    {OID_INDICATOR_TEST, true},
    {OID_CALIBRATION, true},
};
// clang-format on
static_assert(sizeof(SNMP_COMMANDS) / sizeof(SNMP_COMMANDS[0]) == ISSUER_SNMP_OPTIONS + 1);

// The letters that the daemon knows the options by.
constexpr char SERIAL_COMMANDS[] = " abcdef";
static_assert(sizeof(SERIAL_COMMANDS) == ISSUER_SERIAL_OPTIONS + 2);

void WipeRow(int row, int col)
{
    PutBlanks({row, col}, WIPE_LENGTH);
}

void WipePanel(int lastRow)
{
    for (int row = PANEL_ROW; row <= lastRow; row++)
        WipeRow(row, 1);
}

template <size_t count> void ChooseOption(const OptionKey (&keys)[count], int key)
{
    for (const OptionKey& known : keys) {
        if (known.key == key)
            curroption = known.option;
    }
}

void PutDescription(const char (*descriptions)[79], int options)
{
    if (curroption >= OPTION_NONE && curroption <= options)
        PutTabbedText({DESCRIPTION_ROW, DESCRIPTION_COL}, descriptions[curroption]);
}

// Steps the duration and shows it as two digits over the label's "0".
void ChangeDuration(int key, char* digits)
{
    if (key == '+' && dur < DURATION_MAX)
        dur++;
    if (key == '-' && dur > DURATION_MIN)
        dur--;
    FormatText(digits, 3, "%d%d", dur / 10 % 10, dur % 10);
    PutText({PANEL_ROW, DURATION_COL}, digits);
}

void ShowSleepOption(int key, int* sleepMinutes)
{
    PutText({PANEL_ROW, PANEL_COL}, "   Duration of Sleep  :   0 Minutes");
    PutTabbedText({PANEL_ROW + 1, PANEL_COL}, "\t Press  [+] to increase,\t\t");
    PutTabbedText({PANEL_ROW + 2, PANEL_COL}, "\t\t[-] to decrease Sleep Time              ");
    char digits[3];
    ChangeDuration(key, digits);
    *sleepMinutes = dur;
}

void ShowSnmpOption(int key, int* sleepMinutes)
{
    PutDescription(IS_SNMP_DESC, ISSUER_SNMP_OPTIONS);
    if (curroption == SNMP_CONSERVE)
        PutText({PANEL_ROW + 1, 5},
                "(WARNING) UPS has to be turned on manually after issuing this command");
    if (curroption == SNMP_TURN_OFF) {
        // The delay is armed while the option is only shown, at every pass; the
        // command that uses it goes out on [p] alone.
        int ignored = SET_UNANSWERED;
        UPS_setvalue(OID_SHUTDOWN_DELAY, ARMED_DELAY, &ignored);
    }
    if (curroption == SNMP_SLEEP)
        ShowSleepOption(key, sleepMinutes);
    if (curroption != OPTION_NONE)
        ChkCondition();
}

void ShowSerialOption(int key, char* durationText)
{
    PutDescription(IS_CPORT_DESC, ISSUER_SERIAL_OPTIONS);
    if (curroption != SERIAL_TIMED_TEST)
        return;
    PutText({PANEL_ROW, PANEL_COL}, "Duration of Self Test :   0 Minutes");
    PutTabbedText({PANEL_ROW + 2, PANEL_COL}, "\t Press  [+] to increase,\t\t");
    PutTabbedText({PANEL_ROW + 3, PANEL_COL}, "      \t\t[-] to decrease duration of Self Test ");
    ChangeDuration(key, durationText);
}

int ReadNumber(const char* objectId)
{
    char text[UPS_TEXT_SIZE] = "";
    UPS_getvalue(text, objectId);
    return atoi(text);
}

} // namespace

void FirstScreen(int mode)
{
    DrawBox(13, 79, 2, 0);
    DrawBox(9, 79, 15, 0);
    DrawHeader(st_p, "(wardenlink Power Management Software for Linux) UPS COMMAND CENTER,");
    int row = MENU_ROW;
    if (mode == COMM_SNMP) {
        for (const char* line : ISSNMP)
            PutTabbedText({row++, MENU_COL}, line);
    } else if (mode == COMM_SERIAL) {
        for (const char* line : ISCOMPORT)
            PutTabbedText({row++, MENU_COL}, line);
    }
}

void DoSNMP(int key)
{
    ChooseOption(SNMP_KEYS, key);
}

void DoComPort(int key)
{
    ChooseOption(SERIAL_KEYS, key);
}

void DoOptions(const PowerConfig& config, int key, char* durationText, int* sleepMinutes)
{
    if (config.commMode == COMM_SNMP)
        ShowSnmpOption(key, sleepMinutes);
    else if (config.commMode == COMM_SERIAL)
        ShowSerialOption(key, durationText);
    if (curroption != OPTION_NONE) {
        PutText({PROMPT_ROW, PROMPT_COL}, "Press [p] to proceed, [Esc] to cancel");
    } else {
        WipeRow(CONDITION_ROW, 1);
        WipeRow(CONDITION_ROW - 1, 1);
    }
}

void CmdExecute(int sleepMinutes)
{
    int outcome = SET_UNANSWERED;
    if (curroption > OPTION_NONE && curroption <= ISSUER_SNMP_OPTIONS) {
        const SnmpCommand& command = SNMP_COMMANDS[curroption];
        if (curroption == SNMP_SLEEP)
            UPS_setvalue(OID_SLEEP_TIME, sleepMinutes, &outcome);
        if (!command.isReadFirst || ChkCell(command.objectId) == 1)
            UPS_setvalue(command.objectId, UPS_COMMAND, &outcome);
    }
    Evaluate(outcome);
}

void CPortCmdExecute(const char* durationText)
{
    int queue = CreateMsgQ(COMMAND_QUEUE);
    if (curroption <= OPTION_NONE || curroption > ISSUER_SERIAL_OPTIONS)
        return;
    char text[4];
    FormatText(text, sizeof(text), "%c%.2s", SERIAL_COMMANDS[curroption],
               curroption == SERIAL_TIMED_TEST ? durationText : "");
    SendMsg(queue, COMMAND_MESSAGE, text);
}

void Evaluate(int outcome)
{
    if (outcome == SET_UNANSWERED)
        WipeRow(PROMPT_ROW, 5);
    if (outcome == SET_ACCEPTED)
        PutTabbedText({PROMPT_ROW, PROMPT_COL}, "Last Command Successful\t\t\t");
    if (outcome == SET_REFUSED)
        PutTabbedText({PROMPT_ROW, PROMPT_COL}, "Last Command Failed.\t\t\t\t");
}

int ChkCell(const char* objectId)
{
    char text[UPS_TEXT_SIZE] = "blank";
    UPS_getvalue(text, objectId);
    return strcmp(text, "blank") != 0 ? 1 : -1;
}

int WithUtility()
{
    return ReadNumber(OID_INPUT_VOLTAGE) != 0 ? 1 : -1;
}

int WithOutput()
{
    int status = ReadNumber(OID_OUTPUT_STATUS);
    int output = ReadNumber(OID_OUTPUT_SECOND);
    return status != OUTPUT_OFF && output != 0 ? 1 : -1;
}

void ChkCondition()
{
    if (ChkCell(OID_INPUT_VOLTAGE) == -1) {
        PutText({CONDITION_ROW, 5}, "No Connection (check Ip Address and Community Name)");
        return;
    }
    PutText({CONDITION_ROW, 5}, "UPS Status (");
    PutText({CONDITION_ROW, 18},
            WithUtility() == 1 ? "With Utility power." : "w/o  Utility power.");
    PutText({CONDITION_ROW, 37}, WithOutput() == 1 ? "With output power.)" : "w/o  output power.)");
}

namespace {

// Everything the running command center owns.
struct CommandCenter {
    PowerConfig config;
    ScheduleEntry schedule[7];
    int key;
    int sleepMinutes;
    char durationText[3];
};

[[noreturn]] void Refuse(const char* message)
{
    fputs(message, stdout);
    exit(0);
}

void CheckBeforeStart(CommandCenter& center)
{
    InitConfig(center.config, center.schedule); // what a short file leaves out
    if (ReadConfig(center.config, center.schedule) == 0) {
        PrintSettingsError();
        exit(0);
    }
    if (InstanceExist() == 0)
        Refuse("Initialize Daemon Process first by typing [wardenlink start]\n\n");
    if (center.config.commMode != COMM_SNMP)
        return;
    upsconf_load(center.config.snmpIp, center.config.snmpCommunity);
    if (UPS_init() == -1)
        Refuse("Error......Exiting");
}

void ExecuteOption(CommandCenter& center)
{
    if (center.config.commMode == COMM_SNMP) {
        CmdExecute(center.sleepMinutes);
    } else if (center.config.commMode == COMM_SERIAL) {
        CPortCmdExecute(center.durationText);
        WipeRow(PROMPT_ROW, 5);
    }
    WipePanel(CONDITION_ROW);
    curroption = OPTION_NONE;
}

void HandleKey(CommandCenter& center)
{
    if (curroption == OPTION_NONE) {
        if (center.config.commMode == COMM_SNMP)
            DoSNMP(center.key);
        else if (center.config.commMode == COMM_SERIAL)
            DoComPort(center.key);
    }
    if (curroption == OPTION_NONE)
        return;
    if (center.key == KEY_ESCAPE) {
        curroption = OPTION_NONE;
        WipePanel(PROMPT_ROW);
    } else if (center.key == 'p') {
        ExecuteOption(center);
    }
}

void RunCenter(CommandCenter& center)
{
    FirstScreen(center.config.commMode);
    while (center.key != 'q') {
        DoOptions(center.config, center.key, center.durationText, &center.sleepMinutes);
        ParkCursor();
        refresh();
        center.key = GetCH();
        if (center.key == 'r') {
            clear();
            FirstScreen(center.config.commMode);
        }
        if (center.key != 'q')
            HandleKey(center);
    }
}

} // namespace

void tolvan_issuer()
{
    CommandCenter center = {};
    center.key = NO_KEY;
    center.sleepMinutes = 1;
    FormatText(center.durationText, sizeof(center.durationText), "%02d", center.sleepMinutes);
    if (ChkUserID() == 0)
        return;
    uname(&systemRecord);
    CheckBeforeStart(center);
    InitScreen();
    RunCenter(center);
    endwin();
    UPS_close();
    exit(0);
}
