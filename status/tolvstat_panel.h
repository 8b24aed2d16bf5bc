// What the local and the remote screen share: key prompts, alarms, and the right panel
// with its scales and bars.
#pragma once

#include "screen/frame.h"
#include "status/tolvstat_data.h"

// Key prompts on the status bar: the local screen's, which stands without data too,
// and the shorter one of the SNMP panels.
inline constexpr char QUIT_PROMPT[] = "Type 'r' to Redraw, Type 'q' to Quit.";
inline constexpr Place QUIT_PROMPT_PLACE = {sb_p.row, 41};
inline constexpr Place KEY_PROMPT_PLACE = {sb_p.row, 51};

// Lines of the right panel, the index into sw2_p.
enum RightLine {
    RIGHT_INPUT,
    RIGHT_INPUT_BAR,
    RIGHT_INPUT_SCALE,
    RIGHT_OUTPUT,
    RIGHT_OUTPUT_BAR,
    RIGHT_OUTPUT_SCALE,
    RIGHT_LOAD,
    RIGHT_LOAD_BAR,
    RIGHT_LOAD_SCALE,
    RIGHT_BATTERY,
    RIGHT_BATTERY_BAR,
    RIGHT_BATTERY_SCALE,
    RIGHT_FREQUENCY,
    RIGHT_FREQUENCY_BAR,
    RIGHT_FREQUENCY_SCALE,
    RIGHT_LINES
};

// The right panel: rows 3 to 21, columns 42 to 75.
extern const LayoutLine sw2_p[RIGHT_LINES];

// Writes every label of a panel. A label wipes what stands in its own cells.
template <size_t lines, size_t width>
void DrawLabels(const LayoutLine (&places)[lines], const char (&labels)[lines][width])
{
    for (size_t line = 0; line < lines; line++)
        PutTabbedText(LabelPlace(places[line]), labels[line]);
}

// The labels of the right panel. They wipe the values of the last pass in their own cells,
// and on a bar's row everything up to column 75: the end of a bar that was longer stays
// until the screen is cleared.
void DrawRightLabels();

// Writes text at the value column of a right-panel line.
void PutRightValue(RightLine line, const char* text);

// Replaces the scale of this line by the one for UPSes of 200 volts and more.
void DrawHighVoltageScale(RightLine scale);

// 1 when this voltage needs that scale.
int IsHighVoltage(int wholeVolts);

// Writes an alarm text, in standout while phase is 1.
void PutBlinking(Place place, const char* text, int phase);

// Writes the blinking warning that the system is about to shut down, or wipes it.
void PutShutdownWarning(Place place, bool isDue, int phase);

// The five bars from inputVoltage, outputVoltage, loadPercent, batteryLevel (in
// percent, negative = unknown) and inputFrequency. What is no number has no bar.
void DrawLineBars(const StatusFields& fields, double batteryLevel);
