#include "issuer/tolvissuer.h"

#include "base/system.h"
#include "base/text.h"
#include "ipc/tolvipc.h"
#include "issuer/tolvissuer_layout.h"
#include "screen/frame.h"
#include "screen/getch.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"

#include <cstdio>
#include <cstdlib>
#include <curses.h>
#include <iterator>

int curroption = OPTION_NONE;

// Minutes of the timed commands of both modes; kept between them.
static int dur = 1;

namespace {

// Options that need more than a description and a command.
constexpr int SNMP_TURN_OFF = 1;
constexpr int SNMP_SLEEP = 3;
constexpr int SNMP_CONSERVE = 7;
constexpr int SERIAL_TIMED_TEST = 3;

constexpr int ARMED_DELAY = 12; // seconds until the UPS turns off
constexpr int DURATION_MIN = 1;
constexpr int DURATION_MAX = 99;

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

// What an option writes. An object that some agents lack is always read first.
struct SnmpCommand {
    const char* objectId;
    bool isReadFirst;
};

constexpr SnmpCommand SNMP_COMMANDS[] = {
    {"", false},
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

// The letters that the daemon knows the options by.
constexpr char SERIAL_COMMANDS[] = " abcdef";

// --- what the tables above have to keep ------------------------------------------------

template <size_t count> constexpr bool DoKeysFit(const OptionKey (&keys)[count], int options)
{
    for (const OptionKey& known : keys) {
        if (known.option <= OPTION_NONE || known.option > options)
            return false;
    }
    return true;
}

constexpr bool AreCommandsNamed()
{
    for (int option = 1; option <= ISSUER_SNMP_OPTIONS; option++) {
        if (SNMP_COMMANDS[option].objectId[0] != '.')
            return false;
    }
    return true;
}

static_assert(std::size(SNMP_COMMANDS) == ISSUER_SNMP_OPTIONS + 1 && AreCommandsNamed());
static_assert(std::size(SERIAL_COMMANDS) - 1 == ISSUER_SERIAL_OPTIONS + 1);
static_assert(IsTitleOnScreen(st_p[0], TITLE));
static_assert(DoKeysFit(SNMP_KEYS, ISSUER_SNMP_OPTIONS) &&
              DoKeysFit(SERIAL_KEYS, ISSUER_SERIAL_OPTIONS));

// --- the panel -------------------------------------------------------------------------

void WipePanel(int lastRow)
{
    for (int row = PANEL_PLACE.row; row <= lastRow; row++)
        PutBlanks({row, WIPE_COL}, WIPE_WIDTH);
}

void WipeOutcome()
{
    PutBlanks({PROMPT_PLACE.row, OUTCOME_WIPE_COL}, WIPE_WIDTH);
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
        PutTabbedText(DESCRIPTION_PLACE, descriptions[curroption]);
}

// Steps the duration and puts it as two digits over the label's "0".
void StepDuration(int key, char* digits)
{
    if (key == '+' && dur < DURATION_MAX)
        dur++;
    if (key == '-' && dur > DURATION_MIN)
        dur--;
    FormatText(digits, 3, "%d%d", dur / 10 % 10, dur % 10);
    PutText(DURATION_PLACE, digits);
}

void OfferSleepTime(int key, int* sleepMinutes)
{
    PutText(PANEL_PLACE, SLEEP_LABEL);
    PutTabbedText(Below(PANEL_PLACE, 1), "\t Press  [+] to increase,\t\t");
    PutTabbedText(Below(PANEL_PLACE, 2), "\t\t[-] to decrease Sleep Time              ");
    char digits[3];
    StepDuration(key, digits);
    *sleepMinutes = dur;
}

// The delay is armed while the option is only shown, at every pass; the command that
// uses it goes out on [p] alone. Kept.
void ArmTurnOff()
{
    int ignored = SET_UNANSWERED;
    UPS_setvalue(OID_SHUTDOWN_DELAY, ARMED_DELAY, &ignored);
}

void ShowSnmpOption(int key, int* sleepMinutes)
{
    PutDescription(IS_SNMP_DESC, ISSUER_SNMP_OPTIONS);
    if (curroption == SNMP_CONSERVE)
        PutText(WARNING_PLACE, CONSERVE_WARNING);
    if (curroption == SNMP_TURN_OFF)
        ArmTurnOff();
    if (curroption == SNMP_SLEEP)
        OfferSleepTime(key, sleepMinutes);
    if (curroption != OPTION_NONE)
        ChkCondition();
}

void OfferSerialOption(int key, char* durationText)
{
    PutDescription(IS_CPORT_DESC, ISSUER_SERIAL_OPTIONS);
    if (curroption != SERIAL_TIMED_TEST)
        return;
    PutText(PANEL_PLACE, SELF_TEST_LABEL);
    PutTabbedText(Below(PANEL_PLACE, 2), "\t Press  [+] to increase,\t\t");
    PutTabbedText(Below(PANEL_PLACE, 3), "      \t\t[-] to decrease duration of Self Test ");
    StepDuration(key, durationText);
}

template <size_t lines, size_t width> void PutMenu(const char (&menu)[lines][width])
{
    Place place = MENU_PLACE;
    for (const char* line : menu) {
        PutTabbedText(place, line);
        place = Below(place, 1);
    }
}

} // namespace

void FirstScreen(int mode)
{
    DrawBox(13, 79, 2, 0);
    DrawBox(9, 79, 15, 0);
    DrawHeader(st_p, TITLE);
    if (mode == COMM_SNMP)
        PutMenu(ISSNMP);
    else if (mode == COMM_SERIAL)
        PutMenu(ISCOMPORT);
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
        OfferSerialOption(key, durationText);
    if (curroption != OPTION_NONE) {
        PutText(PROMPT_PLACE, "Press [p] to proceed, [Esc] to cancel");
    } else {
        PutBlanks({CONDITION_PLACE.row, WIPE_COL}, WIPE_WIDTH);
        PutBlanks({CONDITION_PLACE.row - 1, WIPE_COL}, WIPE_WIDTH);
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
        WipeOutcome();
    if (outcome == SET_ACCEPTED)
        PutTabbedText(PROMPT_PLACE, "Last Command Successful\t\t\t");
    if (outcome == SET_REFUSED)
        PutTabbedText(PROMPT_PLACE, "Last Command Failed.\t\t\t\t");
}

int ChkCell(const char* objectId)
{
    ObjectText object;
    return ReadObject(objectId, object) ? 1 : -1;
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
        PutText(CONDITION_PLACE, NO_CONNECTION);
        return;
    }
    PutText(CONDITION_PLACE, CONDITION_LABEL);
    PutText(UTILITY_PLACE, WithUtility() == 1 ? WITH_UTILITY : WITHOUT_UTILITY);
    PutText(OUTPUT_PLACE, WithOutput() == 1 ? WITH_OUTPUT : WITHOUT_OUTPUT);
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
    if (UPS_init() == AGENT_UNANSWERED)
        Refuse("Error......Exiting");
}

void ExecuteOption(CommandCenter& center)
{
    if (center.config.commMode == COMM_SNMP) {
        CmdExecute(center.sleepMinutes);
    } else if (center.config.commMode == COMM_SERIAL) {
        CPortCmdExecute(center.durationText);
        WipeOutcome();
    }
    WipePanel(CONDITION_PLACE.row);
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
        WipePanel(PROMPT_PLACE.row);
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
