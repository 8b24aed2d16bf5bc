// What every full-screen mode stands on: the terminal set-up, what puts text on the
// screen, and the frame of the status monitor.
#pragma once

#include "screen/layout_check.h"

#include <ctime>
#include <sys/utsname.h>

inline constexpr char VERSION_TEXT[] = "Ver. 3.4";
inline constexpr char VENDOR_NOTICE[] = "WardenLink, the UPS console for Linux";

// The header of every screen but the editor's, and the status bar: rows 0, 1 and 23.
inline constexpr LayoutLine st_p[2] = {{0, 1, 42}, {1, 1, -1}}; // title and model, vendor notice
inline constexpr LayoutLine sb_p = {23, 1, 9};                  // "System:" and its text

// What uname gave when the mode began; the status bar shows it.
extern utsname systemRecord;

inline constexpr int READ_TIMEOUT_TENTHS = 20; // of a second

// Starts ncurses and gives the terminal its 2-second read time-out, which comes back
// after every stop of the program. Negative when standard input is no terminal: the
// mode then runs without the time-out. A write that fails ends no screen.
int InitScreen();

// Whether the program was stopped behind curses' back and continued since the last
// call: a shell may then have written over the screen.
bool TakeContinued();

// Lets SIGHUP, SIGINT, SIGQUIT and SIGTERM pass without effect: a screen ends by
// its own quit key only. It is its own handler.
void SetSignals(int signalNumber = 0);

// Writes text from a place on, cut at the right edge of the screen; a place off
// the screen writes nothing. Whatever the text is, it moves nothing: a control
// byte shows as a blank, a byte that is not ASCII as '?'.
int PutText(Place place, const char* text);

// The same for texts that may hold tabs, which curses expands to columns of 8; it
// is then the caller who sees to it that the cells end on this row.
int PutTabbedText(Place place, const char* text);

// Puts the cursor where it rests while nothing is typed: row 24, which a terminal
// of 24 rows does not have.
void ParkCursor();

// Writes count blanks, 0 to 80.
int PutBlanks(Place place, int count);

// An ASCII box of height rows and width columns; gives the last write's result.
int DrawBox(int height, int width, int top, int left);

// Wipes rows 2 to 21 inside the frame; header and status bar stay.
void BlankScreen();

// The local date and time of a moment, at the right of a row: "2004-03-05, 09:07 Fri."
void PutDate(int row, time_t moment);

// True when a title and the version behind it, as the header shows them, are on the screen.
constexpr bool IsTitleOnScreen(const LayoutLine& line, std::string_view title)
{
    return IsOnScreen(LabelPlace(line), static_cast<int>(title.size() + sizeof(VERSION_TEXT)));
}

// The header that all screens share: the title with the version at the first
// place, the vendor notice at the second, and on its row the local date and time.
void DrawHeader(const LayoutLine places[2], const char* title);

// The status monitor's frame: one box (layout 1), two side by side (layout 2),
// or none, and header and status bar.
void BasicScreen(int layout);
