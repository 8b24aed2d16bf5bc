// The least that the local screen takes for a UPS on a serial line: the daemon's three files are
// opened, read and parsed, and the same cells are painted.
//
// Usage: bare_local PORT       as the screen shows it

#include "base/system.h"
#include "bench/bare_screen.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <curses.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr BareText LEFT[] = {
    {3, 3, "UPS Type          :"},
    {4, 3, "UPS Rating Voltage:       Volt"},
    {5, 3, "UPS Rating Current:       Amp"},
    {6, 3, "UPS Line Frequency:       Hz"},
    {8, 3, "Communication Port:"},
    {9, 3, "   Input AC Power :"},
    {10, 3, "   Battery Status :"},
    {11, 3, "   UPS Functioning: Normal"},
    {12, 3, "   Boost/Buck     :"},
    {13, 3, "   UPS Temperature:      C"},
    {14, 3, "   UPS Self-Test  :"},
    {16, 3, "Count Down Function: ON"},
    {17, 3, "Scheduling Function: OFF"},
    {18, 23, " ---  --:-- "},
    {19, 23, " ---  --:-- "},
    {20, 3, "ACfail Shutdown Delay:  5.0 Min."},
    {21, 3, "UPS Turn Off Delay   :  3.0 Min."},
};

constexpr int WORDS = 8;
// Volts of a battery of 24.
constexpr double EMPTY = 21.0;
constexpr double FULL = 26.67;

// A reply of the UPS, its words apart.
struct Reply {
    char text[64];
    const char* words[WORDS];
};

Reply status;
Reply rating;
Reply model;

bool ReadText(const char* path, Reply& reply)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    ssize_t count = fd >= 0 ? read(fd, reply.text, sizeof(reply.text) - 1) : -1;
    close(fd);
    if (count < 1)
        return false;
    reply.text[count - 1] = '\0'; // the line's end
    return true;
}

bool ReadWords(const char* path, Reply& reply, int wanted)
{
    if (!ReadText(path, reply))
        return false;
    char* rest = reply.text + 1;
    for (int i = 0; i < wanted; i++) {
        reply.words[i] = strtok_r(rest, " ", &rest);
        if (reply.words[i] == nullptr)
            return false;
    }
    return true;
}

bool ReadReplies()
{
    return ReadWords(STATUS_REPLY_PATH, status, WORDS) && ReadText(MODEL_REPLY_PATH, model) &&
           ReadWords(RATING_REPLY_PATH, rating, 4);
}

// A number whose leading zeros are blanks.
void PaintNumber(int row, int col, const char* number)
{
    size_t zeros = strspn(number, "0");
    mvprintw(row, col, "%*s%s", static_cast<int>(zeros), "", number + zeros);
}

void PaintLeft(const char* port)
{
    const char* bits = status.words[7];
    PaintAll(LEFT);
    mvaddstr(3, 23, bits[4] == '1' ? "Standby" : "On Line");
    mvaddstr(4, 23, rating.words[0]);
    PaintNumber(5, 23, rating.words[1]);
    mvaddstr(6, 24, rating.words[3]);
    mvaddstr(8, 26, "             ");
    mvaddstr(8, 26, port);
    mvaddstr(9, 26, bits[0] == '1' ? "AC FAILS" : "Normal  ");
    mvaddstr(10, 23, bits[1] == '1' ? "LOW     " : "Normal  ");
    mvaddstr(12, 23, bits[2] == '1' ? "ON " : "OFF");
    mvaddstr(13, 23, status.words[6]);
    mvaddstr(14, 23, bits[5] == '1' ? "In Progress" : "Stop       ");
}

// The battery voltage of an on-line UPS is that of one cell.
int BatteryLevel()
{
    double nominal = status.words[7][4] == '1' ? atof(rating.words[2]) : 2.0;
    double volts = atof(status.words[5]) / nominal * 24;
    return static_cast<int>(fmin(fmax((volts - EMPTY) / (FULL - EMPTY), 0), 1) * 100);
}

void PaintRight()
{
    int level = BatteryLevel();
    PaintStatusScales();
    mvaddstr(3, 62, status.words[0]);
    mvaddstr(7, 63, status.words[2]);
    PaintNumber(11, 62, status.words[3]);
    mvprintw(15, 62, "%3d", level);
    mvaddstr(19, 64, status.words[4]);
    PaintBar(4, (atoi(status.words[0]) - 180) / 2 + 1);
    PaintBar(8, (atoi(status.words[2]) - 180) / 2 + 1);
    PaintBar(12, atoi(status.words[3]) / 4 + 1);
    PaintBar(16, level / 4 + 1);
    PaintBar(20, atoi(status.words[4]) / 4 + 1);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2)
        return 1;
    StartScreen();
    do {
        if (!ReadReplies())
            break;
        PaintStatusFrame();
        PaintRight();
        mvaddstr(0, 42, model.text + 1);
        PaintLeft(argv[1]);
        mvaddstr(23, 41, "Type 'r' to Redraw, Type 'q' to Quit.");
        refresh();
    } while (NextKey() != 'q');
    return endwin();
}
