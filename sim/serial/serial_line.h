// The simulated UPS at the end of its serial line: hears requests, and replies.
#pragma once

#include "sim/model/ups_sim.h"
#include "sim/serial/serial_faults.h"
#include "sim/serial/serial_pty.h"

#include <deque>
#include <string>
#include <sys/select.h>
#include <sys/time.h>

struct LateBytes {
    long due = 0; // milliseconds of the monotonic clock
    std::string bytes;
};

struct SerialLine {
    SerialPty pty;
    SerialFaults faults;
    bool open = false;             // a client has been noticed
    std::string heard;             // the beginning of a request
    std::deque<LateBytes> waiting; // what is still to be sent, in order
    bool stuck = false;            // the client does not read what was sent
};

// Adds the line to what a select waits for; the result is the highest descriptor plus one, or
// `count` if higher.
int WatchLine(const SerialLine& line, fd_set* readers, timeval* wait, int count);
// Hears what came, carries it out and sends what is due; never waits.
void ServeLine(SerialLine& line, UpsSim& sim);
// Puts bytes on the line behind those that wait, at the line's speed.
void SendBytes(SerialLine& line, const std::string& bytes);
// The line is gone, as with an adapter that was pulled out; what was under way is lost.
void TakeLineAway(SerialLine& line, UpsSim& sim);
// It is there again; true as well when it never was away.
bool BringLineBack(SerialLine& line);
