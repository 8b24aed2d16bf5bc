#include "status/tolvstat_comport.h"

#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "status/tolvstat_panel.h"

#include <cstdlib>
#include <cstring>

namespace {

// Lines of the left panel, the index into sw1_p and sw1_s.
enum LeftLine {
    LEFT_TYPE,
    LEFT_RATING_VOLTAGE,
    LEFT_RATING_CURRENT,
    LEFT_FREQUENCY,
    LEFT_PORT,
    LEFT_AC_POWER,
    LEFT_BATTERY,
    LEFT_FUNCTIONING,
    LEFT_BOOST,
    LEFT_TEMPERATURE,
    LEFT_SELF_TEST,
    LEFT_COUNTDOWN,
    LEFT_SCHEDULE,
    LEFT_NEXT_SHUTDOWN,
    LEFT_NEXT_POWER_ON,
    LEFT_AC_FAIL_DELAY,
    LEFT_OFF_DELAY,
    LEFT_WARNING,
    LEFT_LINES
};

constexpr int WARNING_COL = 4;
constexpr int PORT_BLANKS = 13; // they reach the frame's column 38

} // namespace

// The left panel: rows 3 to 21, columns 3 to 35.
// clang-format off
const LayoutLine sw1_p[LEFT_LINES] = {
    { 3, 3, 23}, { 4, 3, 23}, { 5, 3, 23}, { 6, 3, 23},
    { 8, 3, 26}, { 9, 3, 26}, {10, 3, 23}, {11, 3, 23}, {12, 3, 23}, {13, 3, 23}, {14, 3, 23},
    {16, 3, 24}, {17, 3, 24}, {18, 3, 24}, {19, 3, 24}, {20, 3, 26}, {21, 3, 26}, {15, 3, 27},
};

const char sw1_s[LEFT_LINES][33] = {
    "UPS Type          :",
    "UPS Rating Voltage:       Volt",
    "UPS Rating Current:       Amp",
    "UPS Line Frequency:       Hz",
    "Communication Port:",
    "   Input AC Power :",
    "   Battery Status :",
    "   UPS Functioning:",
    "   Boost/Buck     :",
    "   UPS Temperature:      C",
    "   UPS Self-Test  :",
    "Count Down Function:",
    "Scheduling Function:",
    "                               ",
    "                               ",
    "ACfail Shutdown Delay:      Min.",
    "UPS Turn Off Delay   :      Min.",
    "\t\t\t\t",
};
// clang-format on

namespace {

// A text of the left panel; wipe = blanks that follow "N/A" over a longer old
// text, alarm = the text that blinks (null when none does).
struct LeftValue {
    LeftLine line;
    int wipe;
    size_t offset; // of the field in StatusFields
    const char* alarm;
};

constexpr LeftValue LEFT_VALUES[] = {
    {LEFT_TYPE, 4, offsetof(StatusFields, upsType), nullptr},
    {LEFT_RATING_VOLTAGE, 7, offsetof(StatusFields, ratingVoltage), nullptr},
    {LEFT_RATING_CURRENT, 6, offsetof(StatusFields, ratingCurrent), nullptr},
    {LEFT_AC_POWER, 5, offsetof(StatusFields, acPower), "AC FAILS"},
    {LEFT_BATTERY, 5, offsetof(StatusFields, batteryStatus), "BAT. LOW"},
    {LEFT_FUNCTIONING, 3, offsetof(StatusFields, upsFunctioning), "FAILED"},
    {LEFT_BOOST, 0, offsetof(StatusFields, boostBuck), "ON "},
    {LEFT_SELF_TEST, 8, offsetof(StatusFields, selfTest), "In Progress"},
    {LEFT_TEMPERATURE, 3, offsetof(StatusFields, temperature), nullptr},
    {LEFT_COUNTDOWN, 0, offsetof(StatusFields, countdownText), nullptr},
    {LEFT_SCHEDULE, 0, offsetof(StatusFields, scheduleText), nullptr},
    {LEFT_NEXT_SHUTDOWN, 0, offsetof(StatusFields, nextShutdown), nullptr},
    {LEFT_NEXT_POWER_ON, 0, offsetof(StatusFields, nextPowerOn), nullptr},
    {LEFT_AC_FAIL_DELAY, 0, offsetof(StatusFields, acFailDelayText), nullptr},
    {LEFT_OFF_DELAY, 0, offsetof(StatusFields, upsOffDelayText), nullptr},
};

// The panel's own state: the alarm texts stand out in every second paint.
struct ComportPanelState {
    int flash;
};
ComportPanelState comportPanel;

bool IsKnown(const char* text)
{
    return strcmp(text, NOT_KNOWN) != 0;
}

void DrawLeftLabels()
{
    for (int line = 0; line < LEFT_LINES; line++)
        PutTabbedText(LabelPlace(sw1_p[line]), sw1_s[line]);
}

void PutLeftValue(const StatusFields& fields, const LeftValue& value)
{
    const char* text = reinterpret_cast<const char*>(&fields) + value.offset;
    const LayoutLine& place = sw1_p[value.line];
    bool isAlarm = value.alarm != nullptr && strcmp(text, value.alarm) == 0;
    PutBlinking(ValuePlace(place), text, isAlarm ? comportPanel.flash : 0);
    if (!IsKnown(text))
        PutBlanks(RightOf(ValuePlace(place), 3), value.wipe);
}

// The label's own "Hz" goes with the blanks and comes back beside a value.
void PutLineFrequency(const char* frequency)
{
    const LayoutLine& place = sw1_p[LEFT_FREQUENCY];
    PutBlanks(ValuePlace(place), 8);
    if (!IsKnown(frequency)) {
        PutText(ValuePlace(place), frequency);
        return;
    }
    PutText(RightOf(ValuePlace(place), 1), frequency);
    PutText(RightOf(ValuePlace(place), 6), "Hz");
}

void PutCommPort(const char* port)
{
    PutBlanks(ValuePlace(sw1_p[LEFT_PORT]), PORT_BLANKS);
    PutText(ValuePlace(sw1_p[LEFT_PORT]), port);
}

// Without a daemon nobody would shut the system down, so nothing is announced.
void PutShutdownWarning(const StatusFields& fields, int shutdownDue)
{
    bool isDue = strcmp(fields.acPower, "AC FAILS") == 0 ||
                 strcmp(fields.batteryStatus, "BAT. LOW") == 0 || shutdownDue == 1;
    PutBlanks({sw1_p[LEFT_WARNING].row, WARNING_COL}, SHUTDOWN_WARNING_LENGTH);
    if (TolvdPresent() == 1 && isDue)
        PutBlinking({sw1_p[LEFT_WARNING].row, WARNING_COL}, SHUTDOWN_WARNING, comportPanel.flash);
}

// A voltage with its leading zeros blanked, and the scale that goes with it.
void PutComportVoltage(RightLine line, RightLine scale, const char* voltage)
{
    char text[sizeof(StatusFields::inputVoltage)];
    CopyField(text, voltage);
    RpLeadingZeros(text);
    PutRightValue(line, text);
    if (!IsKnown(voltage))
        PutBlanks(RightOf(ValuePlace(sw2_p[line]), 3), 7);
    if (ChkFloat(voltage) == 1 && IsHighVoltage(atoi(voltage)) == 1)
        DrawHighVoltageScale(scale);
}

// The charge in percent from the battery's voltage; -1 when it cannot be told.
// The limits are those of a 24-volt battery, 21.0 empty and 26.67 full.
double BatteryLevel(StatusFields& fields)
{
    bool isStandby = strcmp(fields.upsType, "Standby") == 0;
    if (ChkFloat(fields.batteryVoltage) == 0)
        return -1;
    if (isStandby && ChkFloat(fields.batteryRating) == 0)
        return -1;
    if (!isStandby)
        CopyField(fields.batteryRating, "2.0");
    double nominal = atof(fields.batteryRating);
    if (nominal == 0) // a rating that was never set says nothing
        return -1;
    double full = nominal / 24.0 * 26.67;
    double empty = nominal / 24.0 * 21.0;
    double measured = atof(fields.batteryVoltage);
    if (measured < empty)
        measured = empty;
    if (measured > full)
        measured = full;
    return (measured - empty) / (full - empty) * 100;
}

void PutBatteryLevel(double level)
{
    char text[20] = "N/A ";
    if (level >= 0)
        FormatText(text, sizeof(text), "%3.0f", level);
    PutRightValue(RIGHT_BATTERY, text);
}

} // namespace

void DrawComportLeft(StatusFields& fields, int shutdownDue)
{
    comportPanel.flash = 1 - comportPanel.flash;
    DrawLeftLabels();
    for (const LeftValue& value : LEFT_VALUES)
        PutLeftValue(fields, value);
    PutLineFrequency(fields.lineFrequency);
    PutCommPort(fields.commPort);
    PutShutdownWarning(fields, shutdownDue);
}

void DrawComportRight(StatusFields& fields)
{
    DrawRightLabels();
    PutComportVoltage(RIGHT_INPUT, RIGHT_INPUT_SCALE, fields.inputVoltage);
    PutComportVoltage(RIGHT_OUTPUT, RIGHT_OUTPUT_SCALE, fields.outputVoltage);
    PutRightValue(RIGHT_LOAD, fields.loadPercent);
    if (!IsKnown(fields.loadPercent))
        PutBlanks(RightOf(ValuePlace(sw2_p[RIGHT_LOAD]), 3), 1);
    double level = BatteryLevel(fields);
    PutBatteryLevel(level);
    char frequency[sizeof(fields.inputFrequency)];
    CopyField(frequency, fields.inputFrequency);
    RpLeadingZeros(frequency);
    PutRightValue(RIGHT_FREQUENCY, frequency);
    if (!IsKnown(fields.inputFrequency))
        PutBlanks(RightOf(ValuePlace(sw2_p[RIGHT_FREQUENCY]), 3), 4);
    DrawLineBars(fields, level);
}

void DrawScreen(StatusFields& fields, int shutdownDue)
{
    BasicScreen(2);
    DrawComportLeft(fields, shutdownDue);
    DrawComportRight(fields);
    if (fields.modelText[0] != '\0')
        PutText(ValuePlace(st_p[0]), fields.modelText);
    PutText({sb_p.row, QUIT_PROMPT_COL}, QUIT_PROMPT);
}
