#include "status/tolvstat_panel.h"

#include "base/text.h"

#include <cstdlib>
#include <curses.h>

namespace {

constexpr int LABEL_COL = 42;
constexpr int BAR_COL = 43;

// Whole volts above which the high scale is shown, and above which the bar follows
// it: at 135 the bar has changed and the scale has not. Kept.
constexpr int HIGH_SCALE_ABOVE = 135;
constexpr int HIGH_BAR_ABOVE = 134;
constexpr int LOW_SCALE_START = 70; // volts at the first cell of each scale
constexpr int HIGH_SCALE_START = 180;
constexpr int VOLTS_PER_CELL = 2;
constexpr int UNITS_PER_CELL = 4; // percent or hertz

constexpr char HIGH_VOLTAGE_SCALE[] = "180  190  200  210  220  230  240";

} // namespace

// clang-format off
const LayoutLine sw2_p[RIGHT_LINES] = {
    { 3, LABEL_COL, 62}, { 4, LABEL_COL, -1}, { 5, LABEL_COL, -1},
    { 7, LABEL_COL, 63}, { 8, LABEL_COL, -1}, { 9, LABEL_COL, -1},
    {11, LABEL_COL, 62}, {12, LABEL_COL, -1}, {13, LABEL_COL, -1},
    {15, LABEL_COL, 62}, {16, LABEL_COL, -1}, {17, LABEL_COL, -1},
    {19, LABEL_COL, 64}, {20, LABEL_COL, -1}, {21, LABEL_COL, -1},
};

// The frequency scale ends in steps of 10 although its bar is linear at 4 hertz
// a cell: the labels stay as they are.
const char sw2_s[RIGHT_LINES][35] = {
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
    for (int line = 0; line < RIGHT_LINES; line++)
        PutText(LabelPlace(sw2_p[line]), sw2_s[line]);
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

void DrawLineBars(const StatusFields& fields, double batteryLevel)
{
    attrset(A_STANDOUT);
    DrawVoltageBar(RIGHT_INPUT_BAR, fields.inputVoltage);
    DrawVoltageBar(RIGHT_OUTPUT_BAR, fields.outputVoltage);
    char load[sizeof(fields.loadPercent)];
    CopyField(load, fields.loadPercent);
    RmLeadingSpace(load);
    if (ChkInt(load) == 1)
        DrawUnitBar(RIGHT_LOAD_BAR, atoi(load), 125);
    if (batteryLevel >= 0)
        DrawUnitBar(RIGHT_BATTERY_BAR, TruncateToInt(batteryLevel), 125);
    if (ChkFloat(fields.inputFrequency) == 1)
        DrawUnitBar(RIGHT_FREQUENCY_BAR, atoi(fields.inputFrequency), 105);
    attrset(A_NORMAL);
}
