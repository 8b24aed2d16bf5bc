#include "status/tolvstat_remote.h"

#include "config/getch.h"
#include "ipc/tolvipc.h"
#include "snmp/snmplib.h"
#include "snmp/upsconf.h"
#include "status/tolvstat_panel.h"

#include <cstdlib>
#include <cstring>
#include <curses.h>

char bufprevip[SETTINGS_TEXT_SIZE];
char bufprevcname[SETTINGS_TEXT_SIZE];

const char SNMP_LEFTTXT[SNMP_LEFT_ROWS][50] = {
    "Ip Address     :",
    "Community Name :",
    "Input AC Power :",
    "Battery Status :",
    "Time on Battery:",
    "ACfail Shutdown Delay:      Min.",
    "UPS Turn Off Delay   :      Min.",
};

// clang-format off
const InfoObject SNMPINFO_OID[SNMP_INFO_OBJECTS] = {
    {".1.3.6.1.2.1.1.4.0",             "System Contact    : "},
    {".1.3.6.1.2.1.1.5.0",             "System Name       : "},
    {".1.3.6.1.2.1.1.6.0",             "System Location   : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.1.0", "Firmware rev.     : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.2.0", "Date Made         : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.3.0", "Serial #          : "},
    {".1.3.6.1.4.1.935.1.1.1.1.2.4.0", "Agent Rev.        : "},
    {".1.3.6.1.4.1.935.1.1.1.2.1.3.0", "Batt. Replace Date: "},
    {".1.3.6.1.4.1.935.1.1.1.2.2.5.0", "Batt. Replace Flag: "},
    {".1.3.6.1.4.1.935.1.1.1.2.2.7.0", "Batt. Current     : "},
    {".1.3.6.1.4.1.935.1.1.1.3.1.1.0", "Input Phase       : "},
    {".1.3.6.1.4.1.935.1.1.1.4.1.2.0", "Output Phase      : "},
    {".1.3.6.1.4.1.935.1.1.1.5.1.1.0", "Devices Attached  : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.1.0", "Rated Output Volt.: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.2.0", "High Transfer Volt: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.3.0", "Low Transfer Volt.: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.4.0", "Alarm Flag        : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.5.0", "Alarm Timer       : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.6.0", "Min. Ret. Cap.    : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.7.0", "Sensitivity       : "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.8.0", "Low Batt. Run Time: "},
    {".1.3.6.1.4.1.935.1.1.1.5.2.9.0", "Return Delay      : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.1.0", "Diagnostics Sched.: "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.4.0", "Last Diagnostics  : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.7.0", "Calib. Results    : "},
    {".1.3.6.1.4.1.935.1.1.1.7.2.8.0", "Calib. Date       : "},
};
// clang-format on

// Whether the remote screen's agent answered in the pass before.
int prevconnection = 0;

// Of SNMP_actions: the daemon was present in the pass before; the first call is
// behind it.
int previnst = 0;
int firstiter = 0;

namespace {

constexpr char NO_ANSWER[] = "***"; // preset of a text that only an answer replaces
constexpr char NO_VALUE[] = "N/A         ";
constexpr char NORMAL_TEXT[] = "Normal  ";
constexpr char BASIC_PROMPT[] = "[r]-Redraw, [q]-Quit       ";
constexpr char PAGE_PROMPT[] = "[r]-Redraw, [q]-Quit\t      ";
constexpr int PROMPT_COL = 51;
constexpr double PANEL_PAUSE = 3.0; // seconds, for reading the panels

// Left panel: labels at column 3 of rows 3 to 21, values where the table says.
constexpr int LEFT_TOP = 3;
constexpr int LEFT_LABEL_COL = 3;

struct Cell {
    int row;
    int col;
};

constexpr Cell ADDRESS_CELL = {3, 23};
constexpr Cell COMMUNITY_CELL = {4, 23};
constexpr Cell AC_POWER_CELL = {5, 25};
constexpr Cell BATTERY_STATUS_CELL = {6, 25};
constexpr Cell TIME_ON_BATTERY_CELL = {7, 25};
constexpr Cell AC_FAIL_DELAY_CELL = {8, 26};
constexpr Cell UPS_OFF_DELAY_CELL = {9, 26};
// A time on battery that does not answer is reported three rows lower than it
// would stand; known and kept.
constexpr Cell NO_TIME_CELL = {10, 25};
constexpr Cell WARNING_CELL = {17, 4};
constexpr int ADDRESS_WIDTH = 14;

// Information page: the first 19 objects that answer stand on the left.
constexpr int INFO_TEXT_SIZE = 50;
constexpr int INFO_LEFT_COUNT = 19;
constexpr Cell INFO_LEFT_CELL = {3, 2};
constexpr Cell INFO_RIGHT_CELL = {7, 42};
constexpr int INFO_VALUE_OFFSET = 20; // from the label's column

// The left panel's own state: the alarm texts stand out in every second paint.
struct LeftPanelState {
    int flash;
};
LeftPanelState leftPanel;

// What SNMP_actions remembers of its own agent, beside the remote screen's.
struct LocalPassState {
    int prevconnection;
};
LocalPassState localPass;

// What an object answered, or NO_ANSWER.
struct ObjectText {
    char text[UPS_TEXT_SIZE];
};

bool ReadObject(const char* objectId, ObjectText& object)
{
    CopyField(object.text, NO_ANSWER);
    UPS_getvalue(object.text, objectId);
    return strcmp(object.text, NO_ANSWER) != 0;
}

int ReadNumber(const char* objectId)
{
    ObjectText object;
    return ReadObject(objectId, object) ? atoi(object.text) : 0;
}

// A session that an agent was not there to answer is tried again at every pass.
void TryToOpenSession(int* snmpUp)
{
    if (*snmpUp == 0 && UPS_init() == 1)
        *snmpUp = 1;
}

void PutCell(const Cell& cell, const char* text)
{
    PutText(cell.row, cell.col, text);
}

void PutAddress(const char* address, const char* community)
{
    PutBlanks(ADDRESS_CELL.row, ADDRESS_CELL.col, ADDRESS_WIDTH);
    PutBlanks(COMMUNITY_CELL.row, COMMUNITY_CELL.col, ADDRESS_WIDTH);
    PutCell(ADDRESS_CELL, address);
    PutCell(COMMUNITY_CELL, community);
}

void DrawLeftLabels()
{
    for (int line = 0; line < SNMP_LEFT_ROWS; line++)
        PutText(LEFT_TOP + line, LEFT_LABEL_COL, SNMP_LEFTTXT[line]);
}

void PutDelays(const StatusFields& fields)
{
    PutCell(AC_FAIL_DELAY_CELL, fields.acFailDelayText);
    PutCell(UPS_OFF_DELAY_CELL, fields.upsOffDelayText);
}

void PutAlarm(const Cell& cell, const char* text)
{
    PutBlinking(cell.row, cell.col, text, leftPanel.flash);
}

void PutTimeOnBattery()
{
    ObjectText seconds;
    if (!ReadObject(OID_TIME_ON_BATTERY, seconds)) {
        PutCell(NO_TIME_CELL, NO_VALUE);
        return;
    }
    char text[20];
    FormatText(text, sizeof(text), "%6d Sec.", atoi(seconds.text));
    PutCell(TIME_ON_BATTERY_CELL, text);
}

void PutAcPower(bool isAnswered)
{
    if (!isAnswered) {
        PutCell(AC_POWER_CELL, NO_VALUE);
    } else if (ReadNumber(OID_OUTPUT_STATUS) == OUTPUT_ON_BATTERY) {
        PutAlarm(AC_POWER_CELL, "AC FAILS");
        PutTimeOnBattery();
    } else {
        PutCell(AC_POWER_CELL, NORMAL_TEXT);
    }
}

// Codes beyond the three, and no answer, write nothing.
int PutBatteryStatus()
{
    int status = ReadNumber(OID_BATTERY_STATUS);
    if (status == BATTERY_NORMAL)
        PutCell(BATTERY_STATUS_CELL, NORMAL_TEXT);
    if (status == BATTERY_UNKNOWN)
        PutCell(BATTERY_STATUS_CELL, NO_VALUE);
    if (status == BATTERY_LOW) {
        PutAlarm(BATTERY_STATUS_CELL, "BAT. LOW");
        PutTimeOnBattery();
    }
    return status;
}

void PutShutdownWarning(bool isDue)
{
    if (isDue)
        PutAlarm(WARNING_CELL, SHUTDOWN_WARNING);
    else
        PutBlanks(WARNING_CELL.row, WARNING_CELL.col, SHUTDOWN_WARNING_LENGTH);
}

// Reads a number in tenths and writes it with one decimal, here and in the
// record's field; the scale follows a voltage. No answer shows NO_VALUE.
bool PutTenths(RightLine line, const char* objectId, char* field, size_t size, double* number)
{
    ObjectText object;
    if (!ReadObject(objectId, object)) {
        PutRightValue(line, NO_VALUE);
        return false;
    }
    *number = atof(object.text) / 10.0;
    char text[UPS_TEXT_SIZE];
    FormatText(text, sizeof(text), "%3.1f", *number);
    PutRightValue(line, text);
    CopyText(field, size, text);
    return true;
}

template <size_t size>
void PutVoltage(RightLine line, RightLine scale, const char* objectId, char (&field)[size])
{
    double volts = 0;
    if (PutTenths(line, objectId, field, size, &volts) && IsHighVoltage(TruncateToInt(volts)) == 1)
        DrawHighVoltageScale(scale);
}

// Without an answer *percent is left alone.
bool PutPercent(RightLine line, const char* objectId, int* percent)
{
    ObjectText object;
    if (!ReadObject(objectId, object)) {
        PutRightValue(line, NO_VALUE);
        return false;
    }
    *percent = atoi(object.text);
    char text[20];
    FormatText(text, sizeof(text), "%3d", *percent);
    PutRightValue(line, text);
    return true;
}

// An output that is off still reports a voltage; the second value tells.
void CheckForNoOutput(StatusFields& fields)
{
    ObjectText second;
    ReadObject(OID_OUTPUT_SECOND, second);
    if (atoi(second.text) != 0)
        return;
    CopyField(fields.outputVoltage, second.text);
    PutRightValue(RIGHT_OUTPUT, "0.0  ");
}

} // namespace

int ConnectionStatus()
{
    ObjectText object;
    return ReadObject(OID_INPUT_VOLTAGE, object) ? 1 : 0;
}

void DrawSnmpLeft(StatusFields& fields)
{
    BasicScreen(2);
    leftPanel.flash = 1 - leftPanel.flash;
    DrawLeftLabels();
    ObjectText inputVoltage;
    bool isAnswered = ReadObject(OID_INPUT_VOLTAGE, inputVoltage);
    PutAcPower(isAnswered);
    int battery = PutBatteryStatus();
    bool isDue = atoi(inputVoltage.text) == 0 || battery == BATTERY_LOW ||
                 strcmp(fields.shutdownDue, "YES") == 0;
    PutShutdownWarning(isDue);
    PutDelays(fields);
}

void DrawSnmpRight(StatusFields& fields)
{
    DrawRightLabels();
    CopyField(fields.inputVoltage, NOT_KNOWN);
    CopyField(fields.outputVoltage, NOT_KNOWN);
    CopyField(fields.loadPercent, NOT_KNOWN);
    CopyField(fields.inputFrequency, NOT_KNOWN);

    PutVoltage(RIGHT_INPUT, RIGHT_INPUT_SCALE, OID_INPUT_VOLTAGE, fields.inputVoltage);
    PutVoltage(RIGHT_OUTPUT, RIGHT_OUTPUT_SCALE, OID_OUTPUT_VOLTAGE, fields.outputVoltage);
    CheckForNoOutput(fields);
    int load = 0;
    if (PutPercent(RIGHT_LOAD, OID_OUTPUT_LOAD, &load))
        FormatText(fields.loadPercent, sizeof(fields.loadPercent), "%3d", load);
    int level = 0; // without an answer the bar still shows its first cell
    PutPercent(RIGHT_BATTERY, OID_BATTERY_CAPACITY, &level);
    double frequency = 0;
    PutTenths(RIGHT_FREQUENCY, OID_INPUT_FREQUENCY, fields.inputFrequency,
              sizeof(fields.inputFrequency), &frequency);
    DrawLineBars(fields, level);
}

void SNMPnoDATA(StatusFields& fields)
{
    BasicScreen(2);
    for (int row = AC_POWER_CELL.row; row <= NO_TIME_CELL.row; row++)
        PutText(row, AC_POWER_CELL.col, NO_VALUE);
    PutBlanks(NO_TIME_CELL.row, NO_TIME_CELL.col, 4);
    DrawLeftLabels();
    PutDelays(fields);
    PutText(sb_p.row, QUIT_PROMPT_COL, QUIT_PROMPT);
}

void RemoteSNMPLeftText(const char* address, const char* community)
{
    PutAddress(address, community);
    // Wiped before the refresh on purpose: a remote UPS never announces the
    // shutdown of this computer.
    PutShutdownWarning(false);
    move(SCREEN_PARK_ROW, SCREEN_PARK_COL);
}

void ScreenTwo()
{
    BasicScreen(2);
    PutTabbedText(sb_p.row, PROMPT_COL, PAGE_PROMPT);
    for (int row = 3; row <= 6; row++) // room for the long texts of the first objects
        PutBlanks(row, 38, 13);
    int shown = 0;
    for (const InfoObject& info : SNMPINFO_OID) {
        ObjectText object;
        if (!ReadObject(info.oid, object))
            continue;
        char text[INFO_TEXT_SIZE];
        CopyField(text, object.text);
        CleanString(text);
        bool isLeft = shown < INFO_LEFT_COUNT;
        const Cell& top = isLeft ? INFO_LEFT_CELL : INFO_RIGHT_CELL;
        int row = top.row + (isLeft ? shown : shown - INFO_LEFT_COUNT);
        PutText(row, top.col, info.label);
        PutText(row, top.col + INFO_VALUE_OFFSET, text);
        shown++;
    }
    // Drawn last, across the fourth object's row: the page has always looked so.
    DrawBox(17, 79, 6, 0);
}

void UPSname_model()
{
    ObjectText first;
    ObjectText second;
    ReadObject(OID_IDENT_FIRST, first);
    ReadObject(OID_IDENT_SECOND, second);
    CleanString(first.text);
    CleanString(second.text);
    char text[2 * UPS_TEXT_SIZE];
    FormatText(text, sizeof(text), "%s%s", second.text, first.text);
    PutText(st_p[0].row, st_p[0].valueCol, text);
}

namespace {

// The longer no-data prompt begins left of the basic one.
void WipeLongPrompt()
{
    PutBlanks(sb_p.row, QUIT_PROMPT_COL, PROMPT_COL - QUIT_PROMPT_COL);
}

void StartPanelsAnew()
{
    BlankScreen();
    WipeLongPrompt();
}

void PaintPanels(StatusFields& fields)
{
    PutText(sb_p.row, PROMPT_COL, BASIC_PROMPT);
    DrawSnmpLeft(fields);
    DrawSnmpRight(fields);
    PauseSeconds(PANEL_PAUSE);
}

void PaintNoData(int* mode, StatusFields& fields)
{
    *mode = MODE_PANELS;
    BlankScreen();
    SNMPnoDATA(fields);
}

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

void LoadAgent(const PowerConfig& config, int* snmpUp)
{
    upsconf_load(config.snmpIp, config.snmpCommunity);
    if (*snmpUp == 1)
        UPS_close();
    *snmpUp = UPS_init() != -1 ? 1 : 0;
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
        PutAddress(config.snmpIp, config.snmpCommunity);
        move(SCREEN_PARK_ROW, SCREEN_PARK_COL);
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
        PutBlanks(st_p[0].row, st_p[0].valueCol, 38);
    }
    *lastCommMode = config.commMode;
    BlankScreen();
}
