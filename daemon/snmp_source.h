// A UPS behind an SNMP agent. A request to an agent that is silent takes five seconds, so
// the asking is done by a process of its own, which reports each round over a socket.
#pragma once

#include "daemon/reading.h"
#include "daemon/trace.h"
#include "settings/tolv_lib.h"

#include <cstdint>
#include <sys/types.h>

struct SnmpSource {
    char address[SETTINGS_TEXT_SIZE];
    char community[SETTINGS_TEXT_SIZE];
    pid_t worker;    // -1 while none runs
    int fd;          // of the socket to it, -1 likewise
    int64_t startAt; // when a worker that died is started anew
    int64_t heardAt; // the last report of any kind
    int failures;    // rounds in a row without the input voltage
    Trace trace;
};

struct SnmpNews {
    bool hasReading; // of what the safety hangs on
    bool isWhole;    // the values that are only shown came, too
    Reading reading;
};

// Starts the worker for this agent, which is to be one: see IsAgentAddress.
void StartSnmpSource(SnmpSource& source, const char* address, const char* community, int64_t now);

// Ends the worker at once, whatever it waits for.
void StopSnmpSource(SnmpSource& source);

// The same, and another worker is started at the next run: after the machine was suspended a
// report that waits is of another time.
void ForgetSnmpAnswer(SnmpSource& source, int64_t now);

int64_t NextSnmpMoment(const SnmpSource& source);

// Takes the reports that came in and keeps a worker running.
void RunSnmpSource(SnmpSource& source, int64_t now, UpsNames& names, SnmpNews& news);

// The UPS counts as lost: the input voltage was not answered twice running. A worker that
// cannot be made, or says nothing for a minute, counts like a round without an answer.
bool IsSnmpUpsLost(const SnmpSource& source);

// Asks once, in this process; true when the UPS answered. For a question from the command
// line; takes five seconds when the agent is silent.
bool AskAgentOnce(const char* address, const char* community, Reading& reading, UpsNames& names);
