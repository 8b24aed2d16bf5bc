// What fills the record of display texts: the daemon's reply files, and the settings
// rendered to text.
#pragma once

#include "settings/tolv_lib.h"
#include "status/tolvstat_fields.h"

inline constexpr int COMM_PORT_LENGTH = 12; // what the left panel has room for

inline constexpr int REPLY_SIZE = 50; // a reply line of the UPS, with room to spare

// Opens the daemon's status file and the trace switch, whichever is not open; what
// fails is tried at the next call.
void SOpenTextFile();

// Read one reply file into dst (REPLY_SIZE bytes or more), without its last character,
// which ought to be the line's end, whatever it is.
// 1 read, -1 missing or empty.
int GetQ1fromTextFile(char* dst);
int GetRatingfromTextFile(char* dst);
int GetModelfromTextFile(char* dst);

// Parse a reply into the record: status, rating and model. What is missing or
// has a wrong length leaves its field alone.
void GetFromQ1(StatusFields& fields, const char* line);
void GetFromF(StatusFields& fields, const char* line);
void GetFromI(StatusFields& fields, const char* line);

// Sets the placeholders of everything that the UPS tells.
void InitScreenData(StatusFields& fields);

// One refresh from the three files; failCount counts refreshes in a row that
// found no status line.
void GetData(StatusFields& fields, int* failCount);

// Renders the settings into the record. *shutdownDue becomes 1 when a scheduled
// shutdown is nearer than the AC-fail delay; it is never cleared here.
void GetFromConfig(StatusFields& fields, const PowerConfig& config, const ScheduleEntry schedule[7],
                   int* shutdownDue);
