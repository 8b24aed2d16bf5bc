#include "status/tolvstat_screen.h"

#include "settings/tolv_lib.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <curses.h>
#include <initializer_list>
#include <sys/ioctl.h>
#include <termios.h>

const ScreenPlace st_p[2] = {{0, 1, 42}, {1, 1, -1}};
const ScreenPlace sb_p = {23, 1, 9};

utsname systemRecord;

namespace {

constexpr int DATE_END_COL = 77; // the date line ends before this column
constexpr int LINE_SIZE = 256;   // longer than any screen is wide

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

void FormatDate(char* dst, size_t size)
{
    time_t now = time(nullptr);
    tm local = LocalTime(now);
    char dayName[5] = "";
    WeekDay(dayName, local.tm_wday);
    FormatText(dst, size, "%04d-%02d-%02d, %02d:%02d %s", local.tm_year + 1900, local.tm_mon + 1,
               local.tm_mday, local.tm_hour, local.tm_min, dayName);
}

} // namespace

int InitScreen()
{
    initscr();
    cbreak();
    noecho();
    SetSignals();
    termio mode = {};
    int result = ioctl(fileno(stdin), TCGETA, &mode);
    if (result < 0)
        return result;
    mode.c_lflag &= static_cast<unsigned short>(~(ECHO | ICANON));
    mode.c_cc[VMIN] = 0;
    mode.c_cc[VTIME] = 20;
    result = ioctl(fileno(stdin), TCSETA, &mode);
    def_prog_mode(); // so that a stopped screen finds its time-out again
    return result;
}

void SetSignals(int /*signalNumber*/)
{
    for (int swallowed : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
        signal(swallowed, SetSignals);
}

int PutText(int row, int col, const char* text)
{
    char line[LINE_SIZE];
    CopyField(line, text);
    for (char* c = line; *c != '\0'; c++) {
        if (*c < ' ' || *c > '~')
            *c = *c >= 0 && *c < ' ' ? ' ' : '?';
    }
    return PutTabbedText(row, col, line);
}

int PutTabbedText(int row, int col, const char* text)
{
    return mvaddnstr(row, col, text, COLS > col ? COLS - col : 0);
}

int PutBlanks(int row, int col, int count)
{
    char blanks[81];
    FormatText(blanks, sizeof(blanks), "%*s", CutToRange(count, 0, 80), "");
    return PutText(row, col, blanks);
}

int DrawBox(int height, int width, int top, int left)
{
    int bottom = top + height - 1;
    int right = left + width - 1;
    mvhline(top, left, '-', width);
    mvaddch(top, left, '+');
    mvaddch(top, right, '+');
    mvvline(top + 1, left, '|', height - 2);
    mvvline(top + 1, right, '|', height - 2);
    mvhline(bottom, left, '-', width);
    mvaddch(bottom, left, '+');
    return mvaddch(bottom, right, '+');
}

void BlankScreen()
{
    char blanks[78];
    FormatText(blanks, sizeof(blanks), "%77s", "");
    for (int row = 2; row <= 21; row++) {
        mvaddstr(row, 1, blanks);
        // Runs past the right margin on purpose: it wipes the next row's left edge too.
        mvaddnstr(row, 78, blanks, 12);
    }
}

void DrawHeader(const ScreenPlace places[2], const char* title)
{
    char text[128];
    FormatText(text, sizeof(text), "%s %s", title, VERSION_TEXT);
    PutText(places[0].row, places[0].labelCol, text);
    PutText(places[1].row, places[1].labelCol, VENDOR_NOTICE);
    FormatDate(text, sizeof(text));
    PutText(places[1].row, DATE_END_COL - static_cast<int>(strlen(text)), text);
}

void BasicScreen(int layout)
{
    if (layout == 1)
        DrawBox(21, 79, 2, 0);
    if (layout == 2) {
        DrawBox(21, 39, 2, 0);
        DrawBox(21, 40, 2, 39);
    }
    DrawHeader(st_p, "(SNMP WardenLink for Linux) UPS Status Screen,");
    char text[sizeof(systemRecord.sysname) + sizeof(systemRecord.nodename) + 3];
    FormatText(text, sizeof(text), "%s[%s]", systemRecord.sysname, systemRecord.nodename);
    PutText(sb_p.row, sb_p.labelCol, "System:");
    PutText(sb_p.row, sb_p.valueCol, text);
}

void CleanString(char* text)
{
    char* opening = strchr(text, '"');
    if (opening == nullptr)
        return;
    char* closing = strchr(opening + 1, '"');
    if (closing != nullptr)
        closing[1] = '\0';
}

int CutToRange(int value, int lowest, int highest)
{
    if (value < lowest)
        value = lowest;
    return value > highest ? highest : value;
}

void WeekDay(char* dst, int day)
{
    static const char names[7][5] = {"Sun.", "Mon.", "Tue.", "Wed.", "Thu.", "Fri.", "Sat."};
    if (day >= 0 && day < 7)
        memcpy(dst, names[day], sizeof(names[day]));
}

int ChkFloat(const char* text)
{
    int points = 0;
    int digits = 0;
    for (const char* c = text; *c != '\0'; c++) {
        if (*c == '.')
            points++;
        else if (IsDigit(*c))
            digits++;
        else
            return 0;
    }
    return points == 1 && digits > 0 ? 1 : 0;
}

int ChkInt(const char* text)
{
    for (const char* c = text; *c != '\0'; c++) {
        if (!IsDigit(*c))
            return 0;
    }
    return 1;
}

void RpLeadingZeros(char* text)
{
    for (char* c = text; *c == '0' && IsDigit(c[1]); c++)
        *c = ' ';
}

void RmLeadingSpace(char* text)
{
    size_t leading = strspn(text, " ");
    memmove(text, text + leading, strlen(text + leading) + 1);
}

void MakeBar(char* buf, int n)
{
    int cells = CutToRange(n, -1, BAR_CELLS - 1) + 1;
    memset(buf, ' ', static_cast<size_t>(BAR_CELLS));
    buf[cells] = '\0';
}
