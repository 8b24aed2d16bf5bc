// Where the readings come from: a UPS on a serial line, one behind an SNMP agent, or none.
#pragma once

#include "daemon/reading.h"
#include "daemon/serial_source.h"
#include "daemon/snmp_source.h"
#include "settings/tolv_lib.h"

#include <cstdint>

// Whether the UPS is heard.
enum SourceState {
    SOURCE_STARTING, // nothing said yet, and not silent for long enough to be lost
    SOURCE_HEARD,
    SOURCE_LOST
};

// What is new since the last run.
struct SourceNews {
    bool hasReading;         // the UPS said how the mains and the battery are
    bool isWhole;            // values came that are only shown
    Reading reading;         // when either is so
    const char* statusReply; // replies as received, CR included; null when none came
    const char* ratingReply;
    const char* modelReply;
};

// The one in use; the loop owns it.
struct Source {
    UpsPath path;
    SourceState state;
    UpsNames names;
    SerialSource serial;
    SnmpSource snmp;
};

// How these settings reach the UPS.
UpsPath PathOfSettings(const PowerConfig& cfg);

// By the settings: a serial line, an agent, or none where the mode is another one or the
// address stands for no agent. Moments are milliseconds of a clock that stands still while the
// machine is suspended: nothing is asked then, and nothing that is not heard is a silence.
void StartSource(Source& source, const PowerConfig& cfg, int64_t now);

// Closes the line, or ends the worker that asks the agent, at once. How the UPS is reached
// stays known.
void StopSource(Source& source);

// The same, when another process took over the line: what was written to it goes out.
void LeaveSource(Source& source);

// These settings reach the UPS by another way than the source in use.
bool IsOtherSource(const Source& source, const PowerConfig& cfg);

// To be polled for input; -1 while there is none.
int SourceDescriptor(const Source& source);

// When RunSource wants to run although nothing came in.
int64_t NextSourceMoment(const Source& source);

// Lets go of answers from before a suspension of the machine, and asks anew.
void ForgetAnswers(Source& source, int64_t now);

// Takes what came in, asks what is due.
void RunSource(Source& source, int64_t now, SourceNews& news);

// False while a text for a serial line has to wait; a source that takes none is always ready
// to drop one.
bool IsReadyForText(const Source& source);

// Sends a text to a UPS on a serial line, CR added; false where there is no open line.
bool SendUpsText(Source& source, const char* text);
