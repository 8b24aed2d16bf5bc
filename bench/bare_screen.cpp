#include "bench/bare_screen.h"

#include <cstdio>
#include <ctime>
#include <curses.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/utsname.h>
#include <termio.h>
#include <unistd.h>

namespace {

constexpr int BAR_COL = 43;
constexpr char RULE[] = " |----|----|----|----|----|----|--";
constexpr char HIGH_VOLTS[] = "180  190  200  210  220  230  240";
constexpr char PERCENT[] = " 0    20   40   60   80  100  120";

constexpr BareText SCALES[] = {
    {3, 42, " UPS Input Voltage:       Volt"},
    {4, 42, RULE},
    {5, 42, HIGH_VOLTS},
    {7, 42, " UPS Output Voltage:       Volt"},
    {8, 42, RULE},
    {9, 42, HIGH_VOLTS},
    {11, 42, " UPS Power Loading:    %"},
    {12, 42, RULE},
    {13, 42, PERCENT},
    {15, 42, " UPS Battery Level:    %"},
    {16, 42, RULE},
    {17, 42, PERCENT},
    {19, 42, " UPS Input Frequency:      Hz"},
    {20, 42, RULE},
    {21, 42, " 0    20   40   60   80   90  100"},
};

utsname machine;

} // namespace

void StartScreen()
{
    uname(&machine);
    initscr();
    cbreak();
    noecho();
    termio mode = {};
    ioctl(STDIN_FILENO, TCGETA, &mode);
    mode.c_lflag &= static_cast<unsigned short>(~(ECHO | ICANON));
    mode.c_cc[VMIN] = 0;
    mode.c_cc[VTIME] = 20;
    ioctl(STDIN_FILENO, TCSETA, &mode);
    def_prog_mode();
}

int NextKey()
{
    fd_set input;
    FD_ZERO(&input);
    FD_SET(STDIN_FILENO, &input);
    timeval limit = {1, 300000};
    select(STDIN_FILENO + 1, &input, nullptr, nullptr, &limit);
    return getch();
}

void Paint(const BareText& text)
{
    mvaddstr(text.row, text.col, text.text);
}

void PaintBox(int height, int width, int top, int left)
{
    int bottom = top + height - 1;
    int right = left + width - 1;
    mvhline(top, left, '-', width);
    mvhline(bottom, left, '-', width);
    mvvline(top + 1, left, '|', height - 2);
    mvvline(top + 1, right, '|', height - 2);
    mvaddch(top, left, '+');
    mvaddch(top, right, '+');
    mvaddch(bottom, left, '+');
    mvaddch(bottom, right, '+');
}

void PaintBar(int row, int cells)
{
    mvhline(row, BAR_COL, ' ' | A_STANDOUT, cells);
}

void PaintNotice()
{
    time_t moment = time(nullptr);
    char text[64];
    strftime(text, sizeof(text), "%Y-%m-%d, %H:%M %a.", localtime(&moment));
    mvaddstr(1, 1, "WardenLink, the UPS console for Linux");
    mvaddstr(1, 55, text);
}

void PaintStatusFrame()
{
    char text[sizeof(machine.sysname) + sizeof(machine.nodename) + 16];
    PaintBox(21, 39, 2, 0);
    PaintBox(21, 40, 2, 39);
    mvaddstr(0, 1, "(SNMP WardenLink for Linux) UPS Status Screen, Ver. 3.4");
    PaintNotice();
    snprintf(text, sizeof(text), "System: %s[%s]", machine.sysname, machine.nodename);
    mvaddstr(23, 1, text);
}

void PaintStatusScales()
{
    PaintAll(SCALES);
}
