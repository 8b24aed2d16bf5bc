// The settings that the front-end shares with the resident daemon: the record,
// its two files under /etc/wardenlink, and the arithmetic of the weekly schedule.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

inline constexpr const char POWER_INI_PATH[] = "/etc/wardenlink/power.ini";
inline constexpr const char TEXT_CFG_PATH[] = "/etc/wardenlink/wardenlink.cfg";

inline constexpr const char SETTINGS_FOLDER[] = "/etc/wardenlink"; // also the queues' key
inline constexpr const char STATUS_DEBUG_PATH[] = "/etc/wardenlink/status.dbg";

inline constexpr const char NO_AGENT_ADDRESS[] = "127.0.0.1"; // stands for no agent at all
inline constexpr const char DEFAULT_COMMUNITY[] = "public";

// How the UPS is reached (commMode).
inline constexpr int COMM_SERIAL = 0;
inline constexpr int COMM_SNMP = 1;

inline constexpr int SETTINGS_TEXT_SIZE = 30; // bytes of a text setting, terminator included

// The settings record as it stands in power.ini: little-endian, 120 bytes.
struct PowerConfig {
    int16_t acFailDelay;                    // minutes on battery before the system is shut down
    int16_t battLowDelay;                   // minutes after "battery low" before the same
    float upsOffDelay;                      // minutes from system shutdown to UPS turn-off
    float batteryRating;                    // volts, 0.0 = not set
    char comPort[SETTINGS_TEXT_SIZE];       // serial device of the UPS
    char snmpIp[SETTINGS_TEXT_SIZE];        // address of the SNMP agent, dotted text
    char snmpCommunity[SETTINGS_TEXT_SIZE]; // community name of the SNMP agent
    int16_t scheduleOn;                     // weekly schedule: 0 off, 1 on
    int16_t countdownOn;                    // shutdown countdown display: 0 off, 1 on
    int32_t commMode;                       // COMM_SERIAL or COMM_SNMP
    int32_t turnOffUps;                     // turn the UPS off after shutdown: 0 no, 1 yes
    int32_t reserved;                       // the daemon's; carried through, never changed
};

// One weekday of the schedule; index 0 is Sunday, as in tm_wday. An hour of -1
// means that there is no such event on this day.
struct ScheduleEntry {
    int32_t startHour;
    int32_t startMinute;
    int32_t shutdownHour;
    int32_t shutdownMinute;
};

static_assert(sizeof(PowerConfig) == 120 && sizeof(ScheduleEntry) == 16);
static_assert(offsetof(PowerConfig, upsOffDelay) == 4 && offsetof(PowerConfig, comPort) == 12);
static_assert(offsetof(PowerConfig, snmpIp) == 42 && offsetof(PowerConfig, snmpCommunity) == 72);
static_assert(offsetof(PowerConfig, scheduleOn) == 102 && offsetof(PowerConfig, commMode) == 108);
static_assert(offsetof(PowerConfig, turnOffUps) == 112 && offsetof(PowerConfig, reserved) == 116);

// Fills both with the defaults; the record's padding keeps what it had.
void InitConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

// Loads power.ini, then lets the eleven values of wardenlink.cfg replace theirs.
// 1 both files read; 0 otherwise, with whatever could be read already loaded.
int ReadConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

// Replaces power.ini, then wardenlink.cfg, each whole or not at all. 1 both
// written; 0 at the first failed step, the file at hand being whole as it was (or,
// when only the flush of the folder failed, whole as it is to be).
int WriteConfig(const PowerConfig& cfg, const ScheduleEntry sched[7]);

// What a screen does first: the defaults, over them the files, and where those
// could not be read, both written with what is held now. 0 when that failed too.
int LoadOrCreateConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

// Tells on standard output that the settings could be neither read nor written.
void PrintSettingsError();

// Minutes (1 to 10080) from the given moment of the week to the next event of
// the table, -1 without any event. foundDay receives the event's weekday.
int TimeDif(int day, int hour, int minute, const int hours[7], const int minutes[7], int* foundDay);

// The next scheduled shutdown (seconds since the epoch, weekday) and the time
// the UPS stays off after it (minutes, weekday of the restart). -1 = none;
// restartAfter and restartDay are left alone when there is no shutdown.
void CalcSchdlTime(const ScheduleEntry sched[7], int* shutdownAt, int* restartAfter,
                   int* shutdownDay, int* restartDay, double upsOffDelay);

// 1 for the super-user; otherwise prints the refusal on standard error and gives 0.
int ChkUserID();

// Opens a file for reading; null when it cannot be. Waits for nobody, so that a
// pipe in a file's place is just empty.
FILE* OpenToRead(const char* path);

// The moment in local time. A program that runs for months follows a change of the
// machine's time zone: localtime looks for one, localtime_r does not.
tm LocalTime(time_t moment);

// Copies as much of src as dst (size bytes, 1 or more) holds, always terminated.
void CopyText(char* dst, size_t size, const char* src);

// Prints into dst as much as it holds; dst is always terminated.
void FormatText(char* dst, size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Truncates toward zero; what no int can hold becomes the nearest int, NaN 0.
int TruncateToInt(double number);

// The same for an array, whose size it knows.
template <size_t size> void CopyField(char (&dst)[size], const char* src)
{
    CopyText(dst, size, src);
}
