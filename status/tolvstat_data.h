// What the status screens show: the record of display texts, the daemon's reply
// files it is filled from, and the settings rendered to text.
#pragma once

#include "settings/tolv_lib.h"

#include <cstdio>

inline constexpr char NOT_KNOWN[] = "N/A";
inline constexpr char NO_EVENT[] = "---  --:--"; // no scheduled shutdown or power-on
inline constexpr int COMM_PORT_LENGTH = 12;      // what the left panel has room for

inline constexpr int REPLY_SIZE = 50; // a reply line of the UPS, with room to spare

// The display texts of one UPS status. NOT_KNOWN stands where nothing is known.
struct StatusFields {
    char upsType[8];
    char ratingVoltage[6];
    char ratingCurrent[4];
    char batteryRating[6]; // of the settings until the UPS tells its own
    char lineFrequency[5];
    char commPort[30];
    char acPower[9];
    char batteryStatus[9];
    char upsFunctioning[7];
    char boostBuck[4];
    char temperature[5];
    char selfTest[12];
    char countdownText[4];
    char scheduleText[4];
    char nextShutdown[11];
    char nextPowerOn[11];
    char acFailDelayText[9];
    char upsOffDelayText[5];
    char inputVoltage[6];
    char outputVoltage[6];
    char loadPercent[4];
    char batteryVoltage[5];
    char inputFrequency[5];
    char modelText[38];
    char faultVoltage[5];
    char shutdownDue[4]; // "YES" when a scheduled shutdown is near
};

// The daemon's status file and the trace switch; null while not open.
extern FILE* fsdesQ1;
extern FILE* fsdesDBGSTATUS;

// Opens whichever of the two is not open; what fails is tried at the next call.
void SOpenTextFile();

// Read one reply file into dst (REPLY_SIZE bytes or more), without its line end.
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
