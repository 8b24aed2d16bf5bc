// The least that the status screen takes: the same ten requests, the same cells.
//
// Usage: bare_status ADDRESS

#include "bench/bare_screen.h"
#include "snmp/snmplib.h"
#include "tests/bare/bare_agent.h"

#include <cstdio>
#include <cstdlib>
#include <curses.h>
#include <iterator>

namespace {

constexpr timespec PAUSE = {3, 0};

// In the order of the screen, which asks for the input voltage three times.
constexpr const char* OBJECTS[] = {
    OID_INPUT_VOLTAGE,    OID_INPUT_VOLTAGE,   OID_OUTPUT_STATUS, OID_BATTERY_STATUS,
    OID_INPUT_VOLTAGE,    OID_OUTPUT_VOLTAGE,  OID_OUTPUT_SECOND, OID_OUTPUT_LOAD,
    OID_BATTERY_CAPACITY, OID_INPUT_FREQUENCY,
};
enum { INPUT = 4, OUTPUT, SECOND, LOAD, CHARGE, FREQUENCY, COUNT };
static_assert(std::size(OBJECTS) == COUNT);

constexpr BareText LEFT[] = {
    {3, 3, "Ip Address     :"},
    {4, 3, "Community Name :    public"},
    {5, 3, "Input AC Power :      Normal"},
    {6, 3, "Battery Status :      Normal"},
    {7, 3, "Time on Battery:"},
    {8, 3, "ACfail Shutdown Delay: 5    Min."},
    {9, 3, "UPS Turn Off Delay   : 3.0  Min."},
    {23, 51, "[r]-Redraw, [q]-Quit"},
};

BareObject objects[COUNT];
int values[COUNT];

bool AskAll(netsnmp_session* session)
{
    for (int i = 0; i < COUNT; i++) {
        char text[100];
        if (!AskBareObject(session, objects[i], text, sizeof(text)))
            return false;
        values[i] = atoi(text);
    }
    return true;
}

void PaintTenths(int row, int col, int value)
{
    char text[20];
    snprintf(text, sizeof(text), "%3.1f", value / 10.0);
    mvaddstr(row, col, text);
}

void PaintPercent(int row, int col, int value)
{
    char text[20];
    snprintf(text, sizeof(text), "%3d", value);
    mvaddstr(row, col, text);
}

void PaintScreen(const char* address)
{
    PaintStatusFrame();
    PaintAll(LEFT);
    mvaddstr(3, 23, address);
    PaintStatusScales();
    PaintTenths(3, 62, values[INPUT]);
    PaintTenths(7, 63, values[OUTPUT]);
    PaintPercent(11, 62, values[LOAD]);
    PaintPercent(15, 62, values[CHARGE]);
    PaintTenths(19, 64, values[FREQUENCY]);
    PaintBar(4, (values[INPUT] / 10 - 180) / 2 + 1);
    PaintBar(8, (values[OUTPUT] / 10 - 180) / 2 + 1);
    PaintBar(12, values[LOAD] / 4 + 1);
    PaintBar(16, values[CHARGE] / 4 + 1);
    PaintBar(20, values[FREQUENCY] / 10 / 4 + 1);
    move(24, 79);
}

} // namespace

int main(int argc, char* argv[])
{
    netsnmp_session* session = argc == 2 ? OpenBareSession(argv[1]) : nullptr;
    if (session == nullptr)
        return 1;
    for (int i = 0; i < COUNT; i++)
        ParseBareObject(objects[i], OBJECTS[i]);
    StartScreen();
    do {
        if (!AskAll(session))
            break;
        PaintScreen(argv[1]);
        clock_nanosleep(CLOCK_MONOTONIC, 0, &PAUSE, nullptr);
        refresh();
    } while (NextKey() != 'q');
    snmp_close(session);
    return endwin();
}
