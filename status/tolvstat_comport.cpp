#include "status/tolvstat_comport.h"

#include "base/text.h"
#include "ipc/tolvipc.h"
#include "screen/frame.h"
#include "screen/layout_check.h"
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

} // namespace

// The left panel: rows 3 to 21, columns 3 to 37.
// clang-format off
constexpr LayoutLine sw1_p[LEFT_LINES] = {
    { 3, 3, 23}, { 4, 3, 23}, { 5, 3, 23}, { 6, 3, 23},
    { 8, 3, 26}, { 9, 3, 26}, {10, 3, 23}, {11, 3, 23}, {12, 3, 23}, {13, 3, 23}, {14, 3, 23},
    {16, 3, 24}, {17, 3, 24}, {18, 3, 24}, {19, 3, 24}, {20, 3, 26}, {21, 3, 26}, {15, 3, 27},
};

constexpr char sw1_s[LEFT_LINES][33] = {
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

constexpr int FRAME_COL = 38; // the left panel's right edge
constexpr int PORT_BLANKS = 13;
constexpr int FREQUENCY_BLANKS = 8;
constexpr int UNIT_OFFSET = 6; // of "Hz" from the line frequency's place
constexpr Place WARNING_PLACE = {sw1_p[LEFT_WARNING].row, 4};

// The battery voltage of an on-line UPS is that of one cell.
constexpr char ONE_CELL_RATING[] = "2.0";

constexpr char NO_ALARM[] = ""; // of a value that never blinks

// A text of the left panel; wipe = blanks that follow "N/A" over a longer old
// text, alarm = the text that blinks.
struct LeftValue {
    LeftLine line;
    int wipe;
    StatusField field;
    const char* alarm;
};

constexpr LeftValue LEFT_VALUES[] = {
    {LEFT_TYPE, 4, STATUS_FIELD(upsType), NO_ALARM},
    {LEFT_RATING_VOLTAGE, 7, STATUS_FIELD(ratingVoltage), NO_ALARM},
    {LEFT_RATING_CURRENT, 6, STATUS_FIELD(ratingCurrent), NO_ALARM},
    {LEFT_AC_POWER, 5, STATUS_FIELD(acPower), TEXT_AC_FAILS},
    {LEFT_BATTERY, 5, STATUS_FIELD(batteryStatus), TEXT_BATTERY_LOW},
    {LEFT_FUNCTIONING, 3, STATUS_FIELD(upsFunctioning), TEXT_UPS_FAILED},
    {LEFT_BOOST, 0, STATUS_FIELD(boostBuck), TEXT_ON},
    {LEFT_SELF_TEST, 8, STATUS_FIELD(selfTest), TEXT_IN_PROGRESS},
    {LEFT_TEMPERATURE, 3, STATUS_FIELD(temperature), NO_ALARM},
    {LEFT_COUNTDOWN, 0, STATUS_FIELD(countdownText), NO_ALARM},
    {LEFT_SCHEDULE, 0, STATUS_FIELD(scheduleText), NO_ALARM},
    {LEFT_NEXT_SHUTDOWN, 0, STATUS_FIELD(nextShutdown), NO_ALARM},
    {LEFT_NEXT_POWER_ON, 0, STATUS_FIELD(nextPowerOn), NO_ALARM},
    {LEFT_AC_FAIL_DELAY, 0, STATUS_FIELD(acFailDelayText), NO_ALARM},
    {LEFT_OFF_DELAY, 0, STATUS_FIELD(upsOffDelayText), NO_ALARM},
};

// --- what the tables above have to keep ------------------------------------------------

constexpr bool IsRoomFor(LeftLine line, int width)
{
    return IsRoomInLabel(sw1_p[line], sw1_s[line], width) &&
           sw1_p[line].valueCol + width <= FRAME_COL;
}

constexpr bool IsRoomFor(const LeftValue& value)
{
    int longest = static_cast<int>(value.field.size) - 1;
    if (value.line == LEFT_AC_FAIL_DELAY) // its field is wider than any delay
        longest = 4;
    return IsRoomFor(value.line, longest);
}

constexpr bool DoLeftValuesFit()
{
    for (const LeftValue& value : LEFT_VALUES) {
        bool isWiped = NOT_KNOWN_WIDTH + value.wipe + 1 >= static_cast<int>(value.field.size);
        bool isOfUps = value.line < LEFT_COUNTDOWN; // the others are never unknown
        if (!IsRoomFor(value) || (isOfUps && !isWiped) ||
            std::string_view(value.alarm).size() >= value.field.size)
            return false;
    }
    return true;
}

static_assert(std::size(sw1_p) == LEFT_LINES && std::size(sw1_s) == LEFT_LINES);
static_assert(AreOnScreen(sw1_p, sw1_s) && DoLeftValuesFit());
static_assert(std::size(LEFT_VALUES) + 3 == LEFT_LINES); // frequency, port and warning apart
static_assert(IsRoomFor(LEFT_PORT, COMM_PORT_LENGTH) &&
              sw1_p[LEFT_PORT].valueCol + COMM_PORT_LENGTH == FRAME_COL &&
              PORT_BLANKS > COMM_PORT_LENGTH); // they wipe the frame, too
static_assert(IsRoomFor(LEFT_FREQUENCY, UNIT_OFFSET - 1) && UNIT_OFFSET + 2 == FREQUENCY_BLANKS);
static_assert(sizeof(ONE_CELL_RATING) <= sizeof(StatusFields::batteryRating));

// --- the panels ------------------------------------------------------------------------

// The panel's own state: the alarm texts stand out in every second paint.
struct ComportPanelState {
    int flash;
};
ComportPanelState comportPanel;

bool IsKnown(const char* text)
{
    return strcmp(text, NOT_KNOWN) != 0;
}

void WipeBehindUnknown(Place place, const char* text, int blanks)
{
    if (!IsKnown(text))
        PutBlanks(RightOf(place, NOT_KNOWN_WIDTH), blanks);
}

void PutLeftValue(const StatusFields& fields, const LeftValue& value)
{
    const char* text = FieldText(fields, value.field);
    Place place = ValuePlace(sw1_p[value.line]);
    bool isAlarm = strcmp(text, value.alarm) == 0;
    PutBlinking(place, text, isAlarm ? comportPanel.flash : 0);
    WipeBehindUnknown(place, text, value.wipe);
}

// The label's own "Hz" goes with the blanks and comes back beside a value.
void PutLineFrequency(const char* frequency)
{
    Place place = ValuePlace(sw1_p[LEFT_FREQUENCY]);
    PutBlanks(place, FREQUENCY_BLANKS);
    if (!IsKnown(frequency)) {
        PutText(place, frequency);
        return;
    }
    PutText(RightOf(place, 1), frequency);
    PutText(RightOf(place, UNIT_OFFSET), "Hz");
}

void PutCommPort(const char* port)
{
    PutBlanks(ValuePlace(sw1_p[LEFT_PORT]), PORT_BLANKS);
    PutText(ValuePlace(sw1_p[LEFT_PORT]), port);
}

// Without a daemon nobody would shut the system down, so nothing is announced. The
// daemon is looked for at every paint: it takes a presence message each time.
bool IsShutdownDue(const StatusFields& fields, int shutdownDue)
{
    bool isDaemonThere = TolvdPresent() == 1;
    return isDaemonThere &&
           (strcmp(fields.acPower, TEXT_AC_FAILS) == 0 ||
            strcmp(fields.batteryStatus, TEXT_BATTERY_LOW) == 0 || shutdownDue == 1);
}

// A value of the right panel; where it is unknown, blanks behind it wipe its unit.
void PutComportValue(RightLine line, const char* text, int blanks)
{
    PutRightValue(line, text);
    WipeBehindUnknown(ValuePlace(sw2_p[line]), text, blanks);
}

// A number of the UPS with its leading zeros blanked.
template <size_t size> void PutComportNumber(RightLine line, const char (&number)[size], int blanks)
{
    char text[size];
    CopyField(text, number);
    RpLeadingZeros(text);
    PutComportValue(line, text, blanks);
}

template <size_t size>
void PutComportVoltage(RightLine line, RightLine scale, const char (&voltage)[size])
{
    PutComportNumber(line, voltage, 7);
    if (ChkFloat(voltage) == 1 && IsHighVoltage(atoi(voltage)) == 1)
        DrawHighVoltageScale(scale);
}

bool ReportsOneCell(const StatusFields& fields)
{
    return ChkFloat(fields.batteryVoltage) == 1 && strcmp(fields.upsType, TEXT_STANDBY) != 0;
}

// The charge in percent from the battery's voltage and rating; -1 when it cannot be
// told. The limits are those of a 24-volt battery, 21.0 empty and 26.67 full.
double BatteryLevel(const StatusFields& fields)
{
    if (ChkFloat(fields.batteryVoltage) == 0 || ChkFloat(fields.batteryRating) == 0)
        return -1;
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
    char text[20];
    CopyField(text, NOT_KNOWN);
    if (level >= 0)
        FormatText(text, sizeof(text), "%3.0f", level);
    PutComportValue(RIGHT_BATTERY, text, 1);
}

} // namespace

void DrawComportLeft(StatusFields& fields, int shutdownDue)
{
    comportPanel.flash = 1 - comportPanel.flash;
    DrawLabels(sw1_p, sw1_s);
    for (const LeftValue& value : LEFT_VALUES)
        PutLeftValue(fields, value);
    PutLineFrequency(fields.lineFrequency);
    PutCommPort(fields.commPort);
    PutShutdownWarning(WARNING_PLACE, IsShutdownDue(fields, shutdownDue), comportPanel.flash);
}

void DrawComportRight(StatusFields& fields)
{
    DrawRightLabels();
    PutComportVoltage(RIGHT_INPUT, RIGHT_INPUT_SCALE, fields.inputVoltage);
    PutComportVoltage(RIGHT_OUTPUT, RIGHT_OUTPUT_SCALE, fields.outputVoltage);
    PutComportValue(RIGHT_LOAD, fields.loadPercent, 1);
    if (ReportsOneCell(fields)) // the record's rating gives way for good: kept
        CopyField(fields.batteryRating, ONE_CELL_RATING);
    double level = BatteryLevel(fields);
    PutBatteryLevel(level);
    PutComportNumber(RIGHT_FREQUENCY, fields.inputFrequency, 4);
    DrawLineBars(fields, level);
}

void DrawScreen(StatusFields& fields, int shutdownDue)
{
    BasicScreen(2);
    DrawComportLeft(fields, shutdownDue);
    DrawComportRight(fields);
    if (fields.modelText[0] != '\0')
        PutText(ValuePlace(st_p[0]), fields.modelText);
    PutText(QUIT_PROMPT_PLACE, QUIT_PROMPT);
}
