#include "screen/frame.h"

#include "base/system.h"
#include "base/text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <curses.h>
#include <initializer_list>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

utsname systemRecord;

namespace {

constexpr int DATE_END_COL = 77; // the date line ends before this column
constexpr Place PARK_PLACE = {24, 79};
// What is wiped for other panels: from the frame's top row to its bottom.
constexpr Place WIPE_PLACE = {2, 1};
constexpr int WIPE_WIDTH = 77;
constexpr int LAST_WIPED_ROW = 21;
constexpr int OVERRUN_WIDTH = 12;
constexpr int LINE_SIZE = 256; // longer than any text that is shown

constexpr char STATUS_TITLE[] = "(SNMP WardenLink for Linux) UPS Status Screen,";
constexpr char SYSTEM_LABEL[] = "System:";

static_assert(PARK_PLACE.row >= SCREEN_ROWS && PARK_PLACE.col < SCREEN_COLS);
static_assert(LINE_SIZE > SCREEN_COLS && DATE_END_COL <= SCREEN_COLS);
// The model stands over the title's end on purpose.
static_assert(IsTitleOnScreen(st_p[0], STATUS_TITLE) && IsOnScreen(ValuePlace(st_p[0]), 38));
static_assert(IsRoomInLabel(sb_p, SYSTEM_LABEL, 1));
// Row 1 holds the notice and a date of 22 cells.
static_assert(IsOnScreen(LabelPlace(st_p[1]), VENDOR_NOTICE) &&
              ColumnBehind(st_p[1].labelCol, VENDOR_NOTICE) < DATE_END_COL - 22);

termios screenMode; // the terminal's, while a screen is up
volatile sig_atomic_t isContinued = 0;

// A write that fails is told by its result: a pipe without a reader or a file at its
// size limit must not end a screen and leave the terminal in its mode. The command
// ends with its screen and starts no other program, so both stay ignored.
void IgnoreFailedWrites()
{
    for (int ignored : {SIGPIPE, SIGXFSZ})
        signal(ignored, SIG_IGN);
}

// Runs when the program goes on after a stop. One that curses did not see has left
// the terminal in the mode of the shell. After Ctrl-Z the screen is still suspended
// here, and curses brings its mode back itself, once it has noted the shell's.
void ResumeMode(int /*signalNumber*/)
{
    if (isendwin())
        return;
    int error = errno;
    tcsetattr(STDIN_FILENO, TCSANOW, &screenMode);
    isContinued = 1;
    errno = error;
}

// From now on this mode survives a stop, of whatever kind.
void KeepMode()
{
    def_prog_mode(); // for curses, which sees Ctrl-Z
    if (tcgetattr(STDIN_FILENO, &screenMode) == 0)
        signal(SIGCONT, ResumeMode);
}

// Blanks in one stroke, which curses takes in many times faster than as text. The last one is a
// character of its own: it leaves the cursor where a text does, also at the right edge.
int Blank(Place place, int count)
{
    int width = std::min(count, COLS - place.col);
    int result = move(place.row, place.col);
    if (result == ERR || width <= 0)
        return result;
    if (width > 1)
        hline(' ', width - 1);
    return mvaddch(place.row, place.col + width - 1, ' ');
}

// A text without tabs, cut at the right edge.
int PutPlainText(Place place, const char* text)
{
    size_t blanks = strspn(text, " ");
    if (blanks > 0 && text[blanks] == '\0')
        return Blank(place, static_cast<int>(blanks));
    return mvaddnstr(place.row, place.col, text, std::max(COLS - place.col, 0));
}

} // namespace

int InitScreen()
{
    initscr();
    cbreak();
    noecho();
    SetSignals();
    IgnoreFailedWrites();
    termio mode = {};
    int result = ioctl(fileno(stdin), TCGETA, &mode);
    if (result < 0)
        return result;
    mode.c_lflag &= static_cast<unsigned short>(~(ECHO | ICANON));
    mode.c_cc[VMIN] = 0;
    mode.c_cc[VTIME] = READ_TIMEOUT_TENTHS;
    result = ioctl(fileno(stdin), TCSETA, &mode);
    KeepMode();
    return result;
}

bool TakeContinued()
{
    bool was = isContinued != 0;
    isContinued = 0;
    return was;
}

void SetSignals(int /*signalNumber*/)
{
    for (int swallowed : {SIGHUP, SIGINT, SIGQUIT, SIGTERM})
        signal(swallowed, SetSignals);
}

int PutText(Place place, const char* text)
{
    if (IsPrintable(text))
        return PutPlainText(place, text);
    char line[LINE_SIZE];
    CopyField(line, text);
    MakePrintable(line);
    return PutPlainText(place, line);
}

int PutTabbedText(Place place, const char* text)
{
    if (strchr(text, '\t') == nullptr)
        return PutPlainText(place, text);
    // What lies beyond the margin would go on in the next row.
    int fitting = 0;
    for (int col = place.col; col < COLS && text[fitting] != '\0'; fitting++)
        col += text[fitting] == '\t' ? TABSIZE - col % TABSIZE : 1;
    return mvaddnstr(place.row, place.col, text, fitting);
}

void ParkCursor()
{
    move(PARK_PLACE.row, PARK_PLACE.col);
}

int PutBlanks(Place place, int count)
{
    return Blank(place, CutToRange(count, 0, SCREEN_COLS));
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
    char blanks[WIPE_WIDTH + 1];
    FormatText(blanks, sizeof(blanks), "%*s", WIPE_WIDTH, "");
    for (int row = WIPE_PLACE.row; row <= LAST_WIPED_ROW; row++) {
        mvaddstr(row, WIPE_PLACE.col, blanks);
        // Runs past the right margin on purpose: it wipes the next row's left edge too.
        mvaddnstr(row, WIPE_PLACE.col + WIPE_WIDTH, blanks, OVERRUN_WIDTH);
    }
}

void PutDate(int row, time_t moment)
{
    tm local = LocalTime(moment);
    char dayName[5] = "";
    WeekDay(dayName, local.tm_wday);
    char text[64];
    FormatText(text, sizeof(text), "%04d-%02d-%02d, %02d:%02d %s", local.tm_year + 1900,
               local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, dayName);
    PutText({row, DATE_END_COL - static_cast<int>(strlen(text))}, text);
}

void DrawHeader(const LayoutLine places[2], const char* title)
{
    char text[128];
    FormatText(text, sizeof(text), "%s %s", title, VERSION_TEXT);
    PutText(LabelPlace(places[0]), text);
    PutText(LabelPlace(places[1]), VENDOR_NOTICE);
    PutDate(places[1].row, time(nullptr));
}

void BasicScreen(int layout)
{
    if (layout == 1)
        DrawBox(21, 79, 2, 0);
    if (layout == 2) {
        DrawBox(21, 39, 2, 0);
        DrawBox(21, 40, 2, 39);
    }
    DrawHeader(st_p, STATUS_TITLE);
    char text[sizeof(systemRecord.sysname) + sizeof(systemRecord.nodename) + 3];
    FormatText(text, sizeof(text), "%s[%s]", systemRecord.sysname, systemRecord.nodename);
    PutText(LabelPlace(sb_p), SYSTEM_LABEL);
    PutText(ValuePlace(sb_p), text);
}
