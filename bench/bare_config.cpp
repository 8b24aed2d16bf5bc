// The least that a key in the settings editor takes: a number changes, the same cells.
//
// Usage: bare_config ADDRESS

#include "bench/bare_screen.h"

#include <cstdio>
#include <curses.h>

namespace {

constexpr BareText TEXTS[] = {
    {0, 1, "(SNMP WardenLink for Linux) UPS Configuration Utility, Ver. 3.4"},
    {3, 9, "[d] System Shutdown Delay Time When AC Power Failed:      Min."},
    {4, 9, "[b] System Shutdown Delay Time When Battery Low    :  1.0 Min."},
    {5, 9, "[u] UPS Turn Off Delay Time                        :  3.0 Min."},
    {7, 9, "[o] Community Name   :  public"},
    {8, 9, "[p] Ip Address       : "},
    {9, 9, "[n] Shutdown Count Down Display: ON "},
    {11, 9, "[a] Turn off UPS after System Shutdown: YES"},
    {18, 9, "[s] Save Configuration. "},
    {19, 9, "[q] Quit. "},
    {21, 9, "Press the letters in brackets to select items.         "},
    {22, 9, "Press [+], [-], or [i], [m] to change values.          "},
    {23, 9, "Press [r] to redraw screen."},
};

void PaintEditor(const char* address, int minutes)
{
    char text[20];
    PaintBox(19, 79, 2, 0);
    PaintNotice();
    PaintAll(TEXTS);
    mvaddstr(8, 33, address);
    snprintf(text, sizeof(text), "%2d.0", minutes);
    mvaddstr(3, 62, text);
    move(3, 63);
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2)
        return 1;
    int minutes = 5;
    int key = -1;
    StartScreen();
    while (key != 'q') {
        if (key == '+')
            minutes++;
        if (key == '-')
            minutes--;
        PaintEditor(argv[1], minutes);
        refresh();
        key = NextKey();
    }
    return endwin();
}
