#include "status/tolvstat_agent.h"

#include "base/system.h"
#include "base/text.h"
#include "screen/layout_check.h"
#include "snmp/snmplib.h"
#include "status/tolvstat_panel.h"

#include <cstdlib>
#include <cstring>
#include <curses.h>

static constexpr int SNMP_LEFT_ROWS = 19;

// The labels of the left panel.
constexpr char SNMP_LEFTTXT[SNMP_LEFT_ROWS][50] = {
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
constexpr char BASIC_PROMPT[] = "[r]-Redraw, [q]-Quit       ";
constexpr double PANEL_PAUSE = 3.0; // seconds, for reading the panels

// Lines of the left panel that carry a value, the index into AGENT_LEFT.
enum LeftLine {
    LEFT_ADDRESS,
    LEFT_COMMUNITY,
    LEFT_AC_POWER,
    LEFT_BATTERY_STATUS,
    LEFT_TIME_ON_BATTERY,
    LEFT_AC_FAIL_DELAY,
    LEFT_OFF_DELAY,
    LEFT_NO_TIME,
};

// The left panel: rows 3 to 21, columns 3 to 37. A time on battery that does not
// answer is reported three rows lower than it would stand; known and kept.
// clang-format off
constexpr LayoutLine AGENT_LEFT[SNMP_LEFT_ROWS] = {
    { 3, 3, 23}, { 4, 3, 23}, { 5, 3, 25}, { 6, 3, 25}, { 7, 3, 25}, { 8, 3, 26}, { 9, 3, 26},
    {10, 3, 25}, {11, 3, -1}, {12, 3, -1}, {13, 3, -1}, {14, 3, -1}, {15, 3, -1}, {16, 3, -1},
    {17, 3, -1}, {18, 3, -1}, {19, 3, -1}, {20, 3, -1}, {21, 3, -1},
};
// clang-format on
constexpr Place WARNING_PLACE = {17, 4};
constexpr int ADDRESS_WIDTH = 14;
constexpr int STATE_WIDTH = 12; // of a NO_VALUE, and of the time on battery

constexpr bool IsRoomFor(LeftLine line, int width)
{
    return IsRoomInLabel(AGENT_LEFT[line], SNMP_LEFTTXT[line], width);
}

static_assert(AreOnScreen(AGENT_LEFT, SNMP_LEFTTXT));
static_assert(std::string_view(NO_VALUE).starts_with(NOT_KNOWN) &&
              sizeof(NO_VALUE) - 1 == STATE_WIDTH);
static_assert(IsRoomFor(LEFT_ADDRESS, ADDRESS_WIDTH) && IsRoomFor(LEFT_COMMUNITY, ADDRESS_WIDTH));
static_assert(IsRoomFor(LEFT_AC_POWER, STATE_WIDTH) && IsRoomFor(LEFT_NO_TIME, STATE_WIDTH) &&
              IsRoomFor(LEFT_BATTERY_STATUS, STATE_WIDTH) &&
              IsRoomFor(LEFT_TIME_ON_BATTERY, STATE_WIDTH));
static_assert(IsRoomFor(LEFT_AC_FAIL_DELAY, 5) && IsRoomFor(LEFT_OFF_DELAY, 4));
static_assert(IsOnScreen(KEY_PROMPT_PLACE, BASIC_PROMPT));

// The left panel's own state: the alarm texts stand out in every second paint.
struct LeftPanelState {
    int flash;
};
LeftPanelState leftPanel;

void PutLeftValue(LeftLine line, const char* text)
{
    PutText(ValuePlace(AGENT_LEFT[line]), text);
}

void PutAlarm(LeftLine line, const char* text)
{
    PutBlinking(ValuePlace(AGENT_LEFT[line]), text, leftPanel.flash);
}

void PutDelays(const StatusFields& fields)
{
    PutLeftValue(LEFT_AC_FAIL_DELAY, fields.acFailDelayText);
    PutLeftValue(LEFT_OFF_DELAY, fields.upsOffDelayText);
}

void ShowTimeOnBattery()
{
    ObjectText seconds;
    if (!ReadObject(OID_TIME_ON_BATTERY, seconds)) {
        PutLeftValue(LEFT_NO_TIME, NO_VALUE);
        return;
    }
    char text[20];
    FormatText(text, sizeof(text), "%6d Sec.", atoi(seconds.text));
    PutLeftValue(LEFT_TIME_ON_BATTERY, text);
}

void ShowAcPower(bool isAnswered)
{
    if (!isAnswered) {
        PutLeftValue(LEFT_AC_POWER, NO_VALUE);
    } else if (ReadNumber(OID_OUTPUT_STATUS) == OUTPUT_ON_BATTERY) {
        PutAlarm(LEFT_AC_POWER, TEXT_AC_FAILS);
        ShowTimeOnBattery();
    } else {
        PutLeftValue(LEFT_AC_POWER, TEXT_NORMAL);
    }
}

// Codes beyond the three, and no answer, write nothing.
int ShowBatteryStatus()
{
    int status = ReadNumber(OID_BATTERY_STATUS);
    if (status == BATTERY_NORMAL)
        PutLeftValue(LEFT_BATTERY_STATUS, TEXT_NORMAL);
    if (status == BATTERY_UNKNOWN)
        PutLeftValue(LEFT_BATTERY_STATUS, NO_VALUE);
    if (status == BATTERY_LOW) {
        PutAlarm(LEFT_BATTERY_STATUS, TEXT_BATTERY_LOW);
        ShowTimeOnBattery();
    }
    return status;
}

// Reads a number in tenths and shows it with one decimal; the record's field keeps
// the text. No answer shows NO_VALUE.
bool ShowTenths(RightLine line, const char* objectId, char* field, size_t size, double* number)
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

// The scale follows the voltage.
template <size_t size>
void ShowVoltage(RightLine line, RightLine scale, const char* objectId, char (&field)[size])
{
    double volts = 0;
    if (ShowTenths(line, objectId, field, size, &volts) && IsHighVoltage(TruncateToInt(volts)) == 1)
        DrawHighVoltageScale(scale);
}

// Without an answer *percent is left alone.
bool ShowPercent(RightLine line, const char* objectId, int* percent)
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

// An output that is off still reports a voltage; the second value tells. One that does
// not answer counts as 0, so that 0.0 volts are shown: kept.
void ShowMissingOutput(StatusFields& fields)
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
    PutBlanks(QUIT_PROMPT_PLACE, KEY_PROMPT_PLACE.col - QUIT_PROMPT_PLACE.col);
}

} // namespace

void TryToOpenSession(int* snmpUp)
{
    if (*snmpUp == 0 && UPS_init() == AGENT_ANSWERED)
        *snmpUp = 1;
}

void PutAgentAddress(const char* address, const char* community)
{
    for (LeftLine line : {LEFT_ADDRESS, LEFT_COMMUNITY})
        PutBlanks(ValuePlace(AGENT_LEFT[line]), ADDRESS_WIDTH);
    PutLeftValue(LEFT_ADDRESS, address);
    PutLeftValue(LEFT_COMMUNITY, community);
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
    DrawLabels(AGENT_LEFT, SNMP_LEFTTXT);
    ObjectText inputVoltage;
    ShowAcPower(ReadObject(OID_INPUT_VOLTAGE, inputVoltage));
    int battery = ShowBatteryStatus();
    bool isDue = atoi(inputVoltage.text) == 0 || battery == BATTERY_LOW ||
                 strcmp(fields.shutdownDue, TEXT_DUE) == 0;
    PutShutdownWarning(WARNING_PLACE, isDue, leftPanel.flash);
    PutDelays(fields);
}

void DrawSnmpRight(StatusFields& fields)
{
    DrawRightLabels();
    CopyField(fields.inputVoltage, NOT_KNOWN);
    CopyField(fields.outputVoltage, NOT_KNOWN);
    CopyField(fields.loadPercent, NOT_KNOWN);
    CopyField(fields.inputFrequency, NOT_KNOWN);

    ShowVoltage(RIGHT_INPUT, RIGHT_INPUT_SCALE, OID_INPUT_VOLTAGE, fields.inputVoltage);
    ShowVoltage(RIGHT_OUTPUT, RIGHT_OUTPUT_SCALE, OID_OUTPUT_VOLTAGE, fields.outputVoltage);
    ShowMissingOutput(fields);
    int load = 0;
    if (ShowPercent(RIGHT_LOAD, OID_OUTPUT_LOAD, &load))
        FormatText(fields.loadPercent, sizeof(fields.loadPercent), "%3d", load);
    int level = 0; // without an answer the bar still shows its first cell
    ShowPercent(RIGHT_BATTERY, OID_BATTERY_CAPACITY, &level);
    double frequency = 0;
    ShowTenths(RIGHT_FREQUENCY, OID_INPUT_FREQUENCY, fields.inputFrequency,
               sizeof(fields.inputFrequency), &frequency);
    DrawLineBars(fields, level);
}

void SNMPnoDATA(StatusFields& fields)
{
    BasicScreen(2);
    Place place = ValuePlace(AGENT_LEFT[LEFT_AC_POWER]);
    for (int line = LEFT_AC_POWER; line <= LEFT_NO_TIME; line++) {
        PutText(place, NO_VALUE);
        place = Below(place, 1);
    }
    // Half of it is wiped again at once, here and by the labels of the delays: kept.
    PutBlanks(ValuePlace(AGENT_LEFT[LEFT_NO_TIME]), NOT_KNOWN_WIDTH + 1);
    DrawLabels(AGENT_LEFT, SNMP_LEFTTXT);
    PutDelays(fields);
    PutText(QUIT_PROMPT_PLACE, QUIT_PROMPT);
}

void RemoteSNMPLeftText(const char* address, const char* community)
{
    PutAgentAddress(address, community);
    // Wiped before the refresh on purpose: a remote UPS never announces the
    // shutdown of this computer.
    PutShutdownWarning(WARNING_PLACE, false, leftPanel.flash);
    ParkCursor();
}

void StartPanelsAnew()
{
    BlankScreen();
    WipeLongPrompt();
}

void ShowPanels(StatusFields& fields)
{
    PutText(KEY_PROMPT_PLACE, BASIC_PROMPT);
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
