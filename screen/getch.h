// Key reading, the same for every screen.
#pragma once

inline constexpr int NO_KEY = -1;
inline constexpr int KEY_BACKSPACE_OR_DELETE = 8;
inline constexpr int KEY_ENTER_LINEFEED = 10;
inline constexpr int KEY_ENTER_RETURN = 13;
inline constexpr int KEY_ESCAPE = 27;

// One key from the terminal: the byte typed (0 to 255), 8 for both Backspace
// and Delete, or -1 when none came. An idle call takes about 3.3 seconds, also
// when the input is at its end, and so sets the pace of every screen; a resize of
// the terminal ends it early, for a repaint.
int GetCH();
