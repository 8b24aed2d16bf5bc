// What the local and the remote screen share: the right panel with its scales
// and bars, and the blinking of alarm texts.
#pragma once

#include "screen/frame.h"
#include "status/tolvstat_data.h"

inline constexpr char SHUTDOWN_WARNING[] = "<<System is About to Shut Down>>";
inline constexpr int SHUTDOWN_WARNING_LENGTH = 32;
inline constexpr char QUIT_PROMPT[] = "Type 'r' to Redraw, Type 'q' to Quit.";
inline constexpr int QUIT_PROMPT_COL = 41; // on the status bar's row

// Lines of the right panel, the index into sw2_p and sw2_s.
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
extern const char sw2_s[RIGHT_LINES][35];

// All of them; their blanks and bar rules wipe the values and bars of the last pass.
void DrawRightLabels();

// Writes text at the value column of a right-panel line.
void PutRightValue(RightLine line, const char* text);

// Replaces the scale of this line by the one for UPSes of 200 volts and more.
void DrawHighVoltageScale(RightLine scale);

// 1 when this voltage needs that scale.
int IsHighVoltage(int wholeVolts);

// Writes an alarm text, in standout while phase is 1.
void PutBlinking(Place place, const char* text, int phase);

// The five bars from inputVoltage, outputVoltage, loadPercent, batteryLevel (in
// percent, negative = unknown) and inputFrequency. What is no number has no bar.
void DrawLineBars(const StatusFields& fields, double batteryLevel);
