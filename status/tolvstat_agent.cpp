#include "status/tolvstat_agent.h"

#include "base/system.h"
#include "base/text.h"
#include "snmp/snmplib.h"
#include "status/tolvstat_panel.h"

#include <cstdlib>
#include <cstring>
#include <curses.h>

const char SNMP_LEFTTXT[SNMP_LEFT_ROWS][50] = {
    "Ip Address     :",
    "Community Name :",
    "Input AC Power :",
    "Battery Status :",
    "Time on Battery:",
    "ACfail Shutdown Delay:      Min.",
    "UPS Turn Off Delay   :      Min.",
};

namespace {

constexpr char NO_VALUE[] = "N/A         ";
constexpr char NORMAL_TEXT[] = "Normal  ";
constexpr char BASIC_PROMPT[] = "[r]-Redraw, [q]-Quit       ";
constexpr double PANEL_PAUSE = 3.0; // seconds, for reading the panels

// Left panel: labels at column 3 of rows 3 to 21, values where the table says.
constexpr int LEFT_TOP = 3;
constexpr int LEFT_LABEL_COL = 3;

constexpr Place ADDRESS_PLACE = {3, 23};
constexpr Place COMMUNITY_PLACE = {4, 23};
constexpr Place AC_POWER_PLACE = {5, 25};
constexpr Place BATTERY_STATUS_PLACE = {6, 25};
constexpr Place TIME_ON_BATTERY_PLACE = {7, 25};
constexpr Place AC_FAIL_DELAY_PLACE = {8, 26};
constexpr Place UPS_OFF_DELAY_PLACE = {9, 26};
// A time on battery that does not answer is reported three rows lower than it
// would stand; known and kept.
constexpr Place NO_TIME_PLACE = {10, 25};
constexpr Place WARNING_PLACE = {17, 4};
constexpr int ADDRESS_WIDTH = 14;

// The left panel's own state: the alarm texts stand out in every second paint.
struct LeftPanelState {
    int flash;
};
LeftPanelState leftPanel;

int ReadNumber(const char* objectId)
{
    ObjectText object;
    return ReadObject(objectId, object) ? atoi(object.text) : 0;
}

void DrawLeftLabels()
{
    for (int line = 0; line < SNMP_LEFT_ROWS; line++)
        PutText({LEFT_TOP + line, LEFT_LABEL_COL}, SNMP_LEFTTXT[line]);
}

void PutDelays(const StatusFields& fields)
{
    PutText(AC_FAIL_DELAY_PLACE, fields.acFailDelayText);
    PutText(UPS_OFF_DELAY_PLACE, fields.upsOffDelayText);
}

void PutAlarm(Place place, const char* text)
{
    PutBlinking(place, text, leftPanel.flash);
}

void PutTimeOnBattery()
{
    ObjectText seconds;
    if (!ReadObject(OID_TIME_ON_BATTERY, seconds)) {
        PutText(NO_TIME_PLACE, NO_VALUE);
        return;
    }
    char text[20];
    FormatText(text, sizeof(text), "%6d Sec.", atoi(seconds.text));
    PutText(TIME_ON_BATTERY_PLACE, text);
}

void PutAcPower(bool isAnswered)
{
    if (!isAnswered) {
        PutText(AC_POWER_PLACE, NO_VALUE);
    } else if (ReadNumber(OID_OUTPUT_STATUS) == OUTPUT_ON_BATTERY) {
        PutAlarm(AC_POWER_PLACE, "AC FAILS");
        PutTimeOnBattery();
    } else {
        PutText(AC_POWER_PLACE, NORMAL_TEXT);
    }
}

// Codes beyond the three, and no answer, write nothing.
int PutBatteryStatus()
{
    int status = ReadNumber(OID_BATTERY_STATUS);
    if (status == BATTERY_NORMAL)
        PutText(BATTERY_STATUS_PLACE, NORMAL_TEXT);
    if (status == BATTERY_UNKNOWN)
        PutText(BATTERY_STATUS_PLACE, NO_VALUE);
    if (status == BATTERY_LOW) {
        PutAlarm(BATTERY_STATUS_PLACE, "BAT. LOW");
        PutTimeOnBattery();
    }
    return status;
}

void PutShutdownWarning(bool isDue)
{
    if (isDue)
        PutAlarm(WARNING_PLACE, SHUTDOWN_WARNING);
    else
        PutBlanks(WARNING_PLACE, SHUTDOWN_WARNING_LENGTH);
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

// The longer no-data prompt begins left of the basic one.
void WipeLongPrompt()
{
    PutBlanks({sb_p.row, QUIT_PROMPT_COL}, PROMPT_COL - QUIT_PROMPT_COL);
}

} // namespace

void TryToOpenSession(int* snmpUp)
{
    if (*snmpUp == 0 && UPS_init() == 1)
        *snmpUp = 1;
}

void PutAgentAddress(const char* address, const char* community)
{
    PutBlanks(ADDRESS_PLACE, ADDRESS_WIDTH);
    PutBlanks(COMMUNITY_PLACE, ADDRESS_WIDTH);
    PutText(ADDRESS_PLACE, address);
    PutText(COMMUNITY_PLACE, community);
}

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
    for (int row = AC_POWER_PLACE.row; row <= NO_TIME_PLACE.row; row++)
        PutText({row, AC_POWER_PLACE.col}, NO_VALUE);
    PutBlanks(NO_TIME_PLACE, 4);
    DrawLeftLabels();
    PutDelays(fields);
    PutText({sb_p.row, QUIT_PROMPT_COL}, QUIT_PROMPT);
}

void RemoteSNMPLeftText(const char* address, const char* community)
{
    PutAgentAddress(address, community);
    // Wiped before the refresh on purpose: a remote UPS never announces the
    // shutdown of this computer.
    PutShutdownWarning(false);
    ParkCursor();
}

void StartPanelsAnew()
{
    BlankScreen();
    WipeLongPrompt();
}

void PaintPanels(StatusFields& fields)
{
    PutText({sb_p.row, PROMPT_COL}, BASIC_PROMPT);
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
