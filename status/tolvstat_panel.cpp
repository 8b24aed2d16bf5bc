#include "status/tolvstat_panel.h"

#include "base/text.h"
#include "screen/layout_check.h"

#include <cstdlib>
#include <curses.h>
#include <iterator>

namespace {

constexpr int LABEL_COL = 42;
constexpr int BAR_COL = 43;
constexpr char SHUTDOWN_WARNING[] = "<<System is About to Shut Down>>";
constexpr int SHUTDOWN_WARNING_WIDTH = sizeof(SHUTDOWN_WARNING) - 1;

// Whole volts above which the high scale is shown, and above which the bar follows
// it: at 135 the bar has changed and the scale has not. Kept.
constexpr int HIGH_SCALE_ABOVE = 135;
constexpr int HIGH_BAR_ABOVE = 134;
constexpr int LOW_SCALE_START = 70; // volts at the first cell of each scale
constexpr int HIGH_SCALE_START = 180;
constexpr int VOLTS_PER_CELL = 2;
constexpr int UNITS_PER_CELL = 4; // percent or hertz
constexpr int HIGHEST_PERCENT = 125;
constexpr int HIGHEST_HERTZ = 105;

constexpr char HIGH_VOLTAGE_SCALE[] = "180  190  200  210  220  230  240";

} // namespace

// clang-format off
constexpr LayoutLine sw2_p[RIGHT_LINES] = {
    { 3, LABEL_COL, 62}, { 4, LABEL_COL, -1}, { 5, LABEL_COL, -1},
    { 7, LABEL_COL, 63}, { 8, LABEL_COL, -1}, { 9, LABEL_COL, -1},
    {11, LABEL_COL, 62}, {12, LABEL_COL, -1}, {13, LABEL_COL, -1},
    {15, LABEL_COL, 62}, {16, LABEL_COL, -1}, {17, LABEL_COL, -1},
    {19, LABEL_COL, 64}, {20, LABEL_COL, -1}, {21, LABEL_COL, -1},
};

// The frequency scale ends in steps of 10 although its bar is linear at 4 hertz
// a cell: the labels are kept as they are.
constexpr char sw2_s[RIGHT_LINES][35] = {
    " UPS Input Voltage:       Volt",
    " |----|----|----|----|----|----|--",
    " 70   80   90  100  110  120  130",
    " UPS Output Voltage:       Volt",
    " |----|----|----|----|----|----|--",
    " 70   80   90  100  110  120  130",
    " UPS Power Loading:    %",
    " |----|----|----|----|----|----|--",
    " 0    20   40   60   80  100  120",
    " UPS Battery Level:    %",
    " |----|----|----|----|----|----|--",
    " 0    20   40   60   80  100  120",
    " UPS Input Frequency:      Hz",
    " |----|----|----|----|----|----|--",
    " 0    20   40   60   80   90  100",
};
// clang-format on

namespace {

// --- what the tables above have to keep ------------------------------------------------

constexpr bool IsRoomFor(RightLine line, int width)
{
    return IsRoomInLabel(sw2_p[line], sw2_s[line], width);
}

// A bar begins on the first stroke of its rule, which is right above its scale.
constexpr bool DoBarsStandOnRules()
{
    for (RightLine bar : {RIGHT_INPUT_BAR, RIGHT_OUTPUT_BAR, RIGHT_LOAD_BAR, RIGHT_BATTERY_BAR,
                          RIGHT_FREQUENCY_BAR}) {
        if (sw2_s[bar][BAR_COL - LABEL_COL] != '|' || sw2_p[bar + 1].row != sw2_p[bar].row + 1)
            return false;
    }
    return true;
}

static_assert(std::size(sw2_p) == RIGHT_LINES && std::size(sw2_s) == RIGHT_LINES);
static_assert(AreOnScreen(sw2_p, sw2_s) && DoBarsStandOnRules());
static_assert(IsRoomFor(RIGHT_INPUT, 5) && IsRoomFor(RIGHT_OUTPUT, 5)); // "230.0"
static_assert(IsRoomFor(RIGHT_LOAD, 3) && IsRoomFor(RIGHT_BATTERY, 3) &&
              IsRoomFor(RIGHT_FREQUENCY, 4));
static_assert(sizeof(HIGH_VOLTAGE_SCALE) == std::string_view(sw2_s[RIGHT_INPUT_SCALE]).size() + 1);
// Only a voltage beyond its scale has a bar longer than the rule; the screen's edge cuts it.
static_assert(HIGHEST_PERCENT / UNITS_PER_CELL + 1 < sizeof(sw2_s[0]) - 1);
static_assert(HIGHEST_HERTZ < HIGHEST_PERCENT && sizeof(sw2_s[0]) - 1 < BAR_CELLS);
static_assert(IsOnScreen(QUIT_PROMPT_PLACE, QUIT_PROMPT) && SHUTDOWN_WARNING_WIDTH == 32);

// --- the panel -------------------------------------------------------------------------

void DrawBar(RightLine line, int cells)
{
    char bar[BAR_TEXT_SIZE];
    MakeBar(bar, cells);
    PutText({sw2_p[line].row, BAR_COL}, bar);
}

void DrawVoltageBar(RightLine line, const char* voltage)
{
    if (ChkFloat(voltage) == 0)
        return;
    int volts = atoi(voltage);
    bool isHigh = volts > HIGH_BAR_ABOVE;
    int aboveStart = volts - (isHigh ? HIGH_SCALE_START : LOW_SCALE_START);
    DrawBar(line, aboveStart / VOLTS_PER_CELL);
}

void DrawUnitBar(RightLine line, int value, int highest)
{
    DrawBar(line, CutToRange(value, -UNITS_PER_CELL, highest) / UNITS_PER_CELL);
}

} // namespace

void DrawRightLabels()
{
    DrawLabels(sw2_p, sw2_s);
}

void PutRightValue(RightLine line, const char* text)
{
    PutText(ValuePlace(sw2_p[line]), text);
}

void DrawHighVoltageScale(RightLine scale)
{
    PutText(LabelPlace(sw2_p[scale]), HIGH_VOLTAGE_SCALE);
}

int IsHighVoltage(int wholeVolts)
{
    return wholeVolts > HIGH_SCALE_ABOVE ? 1 : 0;
}

void PutBlinking(Place place, const char* text, int phase)
{
    if (phase == 1)
        attrset(A_STANDOUT);
    PutText(place, text);
    attrset(A_NORMAL);
}

void PutShutdownWarning(Place place, bool isDue, int phase)
{
    if (isDue)
        PutBlinking(place, SHUTDOWN_WARNING, phase);
    else
        PutBlanks(place, SHUTDOWN_WARNING_WIDTH);
}

void DrawLineBars(const StatusFields& fields, double batteryLevel)
{
    attrset(A_STANDOUT);
    DrawVoltageBar(RIGHT_INPUT_BAR, fields.inputVoltage);
    DrawVoltageBar(RIGHT_OUTPUT_BAR, fields.outputVoltage);
    char load[sizeof(fields.loadPercent)];
    CopyField(load, fields.loadPercent);
    RmLeadingSpace(load);
    if (ChkInt(load) == 1)
        DrawUnitBar(RIGHT_LOAD_BAR, atoi(load), HIGHEST_PERCENT);
    if (batteryLevel >= 0)
        DrawUnitBar(RIGHT_BATTERY_BAR, TruncateToInt(batteryLevel), HIGHEST_PERCENT);
    if (ChkFloat(fields.inputFrequency) == 1)
        DrawUnitBar(RIGHT_FREQUENCY_BAR, atoi(fields.inputFrequency), HIGHEST_HERTZ);
    attrset(A_NORMAL);
}
