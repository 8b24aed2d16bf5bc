// A UPS on a serial line: its status asked for every second, what it is at the start, after
// a loss and every ten minutes. A reply that is not complete within a second, or of another
// shape, is asked for again, three times in all.
#pragma once

#include "daemon/reading.h"
#include "daemon/serial_opener.h"
#include "daemon/trace.h"
#include "settings/tolv_lib.h"

#include <cstdint>

enum SerialRequest { REQUEST_NONE, REQUEST_STATUS, REQUEST_RATING, REQUEST_MODEL };

inline constexpr int SERIAL_REQUESTS = 4;

struct SerialSource {
    char device[SETTINGS_TEXT_SIZE];
    bool mustBeFree;                // not to be opened while another program holds it
    int fd;                         // -1 while the device cannot be opened
    SerialOpener opener;            // at work on it
    int openError;                  // errno of the last try, 0 while it is open or was not tried
    int64_t openAt;                 // when the next try is due, or the one under way began
    SerialRequest asked;            // the request whose reply is awaited
    int64_t replyBy;                // when that reply is given up
    int64_t askAt[SERIAL_REQUESTS]; // when each request is due
    int tries[SERIAL_REQUESTS];     // made without a good reply, 0 to 2
    char pending[16];      // an order that waits for the reply under way, empty without one
    char line[REPLY_ROOM]; // what has come of the reply
    size_t length;
    int64_t heardAt; // the last good status reply, or the start
    int unanswered;  // requests for the status since then
    bool isLost;
    unsigned garbled; // replies of another shape since the start
    Trace trace;
};

// What a run gave; the replies with their CR, empty where none came.
struct SerialNews {
    bool hasReading;
    Reading reading;
    char status[REPLY_ROOM];
    char rating[REPLY_ROOM];
    char model[REPLY_ROOM];
};

void StartSerialSource(SerialSource& source, const char* device, int64_t now);
void StopSerialSource(SerialSource& source);

// Closes the line for this process alone: what was written goes out.
void LeaveSerialLine(SerialSource& source);

// To be polled for input: the line, or what opens it; -1 while there is neither.
int SerialDescriptor(const SerialSource& source);

// When RunSerialSource wants to run although nothing came in.
int64_t NextSerialMoment(const SerialSource& source);

// Lets go of what was asked and of what came in meanwhile, and asks for the status at once: after
// the machine was suspended an answer that waits is of another time.
void ForgetSerialAnswer(SerialSource& source, int64_t now);

// Takes what came in, asks what is due, has a device opened that is back, and waits for
// nothing. What the UPS says of itself goes to names.
void RunSerialSource(SerialSource& source, int64_t now, UpsNames& names, SerialNews& news);

// SendSerialText would take a text.
bool IsReadyForSerialText(const SerialSource& source);

// Sends a text without awaiting a reply: at once, or after the reply that is under way.
// False when there is no open line or another text still waits.
bool SendSerialText(SerialSource& source, const char* text);

// The text of the serial protocol for a UPS command of the command queue; false for
// anything but the letters 'a' to 'f', 'c' with two digits behind it.
bool CommandToSerialText(const char* command, char* text, size_t size);

// The order to turn off offDelay minutes from now (".2" to ".9" below one minute, else whole
// minutes rounded up) and to come back after restartMinutes, 0 = not at all.
void FormatShutdownText(char* text, size_t size, float offDelay, int restartMinutes);
