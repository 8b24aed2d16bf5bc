#include "screen/getch.h"

#include "base/system.h"
#include "screen/frame.h"

#include <climits>
#include <curses.h>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr timeval FIRST_WAIT = {1, 300000}; // for a first byte, before the terminal is read
constexpr double IDLE_SECONDS =             // of a call without a key: the wait, then the read
    static_cast<double>(FIRST_WAIT.tv_sec) + static_cast<double>(FIRST_WAIT.tv_usec) / 1e6 +
    READ_TIMEOUT_TENTHS / 10.0;
constexpr double SHORT_READ = READ_TIMEOUT_TENTHS / 20.0; // seconds; a read that never waited
constexpr int DELETE_BYTE = 127;
constexpr int MOST_NOTICES = 200; // more than curses keeps

void WaitForKey()
{
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval limit = FIRST_WAIT;
    // The outcome does not matter: the read that follows has a limit of its own.
    select(STDIN_FILENO + 1, &input, nullptr, nullptr, &limit);
}

// What curses reports of a resize stands in front of the keys, twice for each one.
bool IsNotice(int key)
{
    return key > UCHAR_MAX;
}

// Takes every notice that stands there, so that one repaint answers them all; gives
// the key behind them, or NO_KEY. Waits for nothing.
int ReadPastNotices()
{
    int key = KEY_RESIZE;
    nodelay(stdscr, TRUE);
    for (int count = 0; IsNotice(key) && count < MOST_NOTICES; count++)
        key = wgetch(stdscr);
    nodelay(stdscr, FALSE);
    return IsNotice(key) ? NO_KEY : key;
}

} // namespace

int GetCH()
{
    double start = Now();
    WaitForKey();
    double readStart = Now();
    int key = wgetch(stdscr);
    // At the end of the input, or without a terminal, the read fails at once:
    // the pass is drawn out to its idle time, or the screen would spin.
    if (key == NO_KEY && Now() - readStart < SHORT_READ)
        PauseSeconds(start + IDLE_SECONDS - Now());
    if (IsNotice(key))
        key = ReadPastNotices();
    if (TakeContinued())
        clearok(curscr, TRUE); // the next refresh repaints every cell
    return key == DELETE_BYTE ? KEY_BACKSPACE_OR_DELETE : key;
}
