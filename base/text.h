// Text and numbers: bounded copies and formats, helpers that turn numbers into what a
// screen shows, and what makes text from outside safe to show.
#pragma once

#include <cstddef>

inline constexpr int BAR_CELLS = 39;                // the longest bar that MakeBar prepares
inline constexpr int BAR_TEXT_SIZE = BAR_CELLS + 1; // a bar with its terminator

// Copies as much of src as dst (size bytes, 1 or more) holds, always terminated.
// The two may overlap.
void CopyText(char* dst, size_t size, const char* src);

// The same for an array, whose size it knows.
template <size_t size> void CopyField(char (&dst)[size], const char* src)
{
    CopyText(dst, size, src);
}

// Prints into dst (size bytes, 1 or more) as much as it holds, always terminated.
void FormatText(char* dst, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Whether all of a text is printable ASCII; so is an empty one.
bool IsPrintable(const char* text);

// Makes a text from outside safe to show: a control character becomes a blank, DEL
// and a byte that is not ASCII a '?'.
void MakePrintable(char* text);

// Cuts text just after its second double quote.
void CleanString(char* text);

// Truncates toward zero; what no int can hold becomes the nearest int, NaN 0.
int TruncateToInt(double number);

// The value, or the limit that it lies beyond; the upper one where they cross.
int CutToRange(int value, int lowest, int highest);

// The four-character name of a weekday (0 Sunday to 6 Saturday) into dst, 5
// bytes; any other day leaves dst as it is.
void WeekDay(char* dst, int day);

// 1 for digits with exactly one decimal point and at least one digit.
int ChkFloat(const char* text);

// 1 when every character is a digit, so also for the empty text.
int ChkInt(const char* text);

// Turns leading zeros that another digit follows into blanks.
void RpLeadingZeros(char* text);

// Moves the text to the front over its leading blanks.
void RmLeadingSpace(char* text);

// A bar of n + 1 blanks, at most BAR_CELLS, to be shown in standout; n below 0
// gives the empty text. buf holds BAR_TEXT_SIZE bytes or more.
void MakeBar(char* buf, int n);
