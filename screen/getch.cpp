#include "screen/getch.h"

#include "base/system.h"

#include <cerrno>
#include <ctime>
#include <curses.h>
#include <sys/select.h>
#include <unistd.h>

namespace {

constexpr double WAIT_SECONDS = 1.3; // for a first byte, before the terminal is read
constexpr double READ_SECONDS = 2.0; // the terminal's own read time-out
constexpr int DELETE_BYTE = 127;

void WaitForKey()
{
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval limit = {1, 300000};
    // The outcome does not matter: the read that follows has a limit of its own.
    select(STDIN_FILENO + 1, &input, nullptr, nullptr, &limit);
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
    if (key == ERR && Now() - readStart < READ_SECONDS / 2)
        PauseSeconds(start + WAIT_SECONDS + READ_SECONDS - Now());
    if (key > 255) // the library's notice of a resize is no key
        return NO_KEY;
    return key == DELETE_BYTE ? KEY_BACKSPACE_OR_DELETE : key;
}
