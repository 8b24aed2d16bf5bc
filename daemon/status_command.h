// tolvd --status: the running daemon's last reading, for people and scripts.
#pragma once

#include <cstddef>

// Prints it, as JSON or as lines; the exit status for scripts, 1 when no daemon runs.
int ShowStatus(bool isJson);

// Reads the status of a daemon that runs now; false when there is none.
bool ReadRunningStatus(char* text, size_t size);

bool IsDaemonRunning();

// The daemon that wrote this status only tries out: nothing is protected.
bool IsDryRun(const char* status);

// Prints the lines of a status.
void PrintStatusLines(const char* status);

inline constexpr size_t STATUS_VALUE_SIZE = 128;

// The value of a member of a status as it stands there, quotes taken off; empty for null and
// for one that is not there.
void FindStatusMember(const char* status, const char* name, char (&value)[STATUS_VALUE_SIZE]);

// The same as a number, NAN where there is none.
double StatusNumber(const char* status, const char* name);
