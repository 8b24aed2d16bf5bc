// The settings that the front-end shares with the resident daemon: the record and
// its two files under /etc/wardenlink.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

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

// Both are read and written as they lie in memory.
static_assert(std::endian::native == std::endian::little);
static_assert(std::numeric_limits<float>::is_iec559 && sizeof(float) == 4);
static_assert(std::is_trivially_copyable_v<PowerConfig>);
static_assert(sizeof(PowerConfig) == 120 && sizeof(ScheduleEntry) == 16);
static_assert(offsetof(PowerConfig, acFailDelay) == 0 && offsetof(PowerConfig, battLowDelay) == 2);
static_assert(offsetof(PowerConfig, upsOffDelay) == 4 && offsetof(PowerConfig, batteryRating) == 8);
static_assert(offsetof(PowerConfig, comPort) == 12 && offsetof(PowerConfig, snmpIp) == 42);
static_assert(offsetof(PowerConfig, snmpCommunity) == 72);
static_assert(offsetof(PowerConfig, scheduleOn) == 102 &&
              offsetof(PowerConfig, countdownOn) == 104);
static_assert(offsetof(PowerConfig, commMode) == 108 && offsetof(PowerConfig, turnOffUps) == 112);
static_assert(offsetof(PowerConfig, reserved) == 116);
static_assert(offsetof(ScheduleEntry, startHour) == 0 && offsetof(ScheduleEntry, startMinute) == 4);
static_assert(offsetof(ScheduleEntry, shutdownHour) == 8 &&
              offsetof(ScheduleEntry, shutdownMinute) == 12);

// Fills both with the defaults; the record's padding keeps what it had.
void InitConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

// Loads power.ini, then lets the eleven values of wardenlink.cfg replace theirs.
// 1 both files read; 0 otherwise, with whatever could be read already loaded.
int ReadConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

enum SettingsRead {
    SETTINGS_WHOLE,
    SETTINGS_PART,   // a file is missing
    SETTINGS_REFUSED // a file that is there does not give all its bytes
};

// Whether a settings file gives all of its bytes; one that is missing need not.
bool IsSettingsFileReadable(const char* path);

// ReadConfig, which takes what it gets, for those who have to know a failing disk from a file that
// is missing. What is refused leaves its part of cfg and sched as it was.
SettingsRead ReadSettings(PowerConfig& cfg, ScheduleEntry sched[7]);

// Writes both files beside the old ones, then lets power.ini and after it
// wardenlink.cfg take their places; each is old or new, never a mixture. 1 when both
// are new and on the disk. 0 otherwise:
// - a file could not be written: both are old;
// - wardenlink.cfg could not take its place (a folder or a mount stands there): only
//   power.ini is new, and the next reading takes the schedule from it, but the eleven
//   values from the old text;
// - the folder could not be flushed: both are new, unless power fails very soon.
int WriteConfig(const PowerConfig& cfg, const ScheduleEntry sched[7]);

// For commands that may make the files: the defaults, over them the files, and where
// those could not be read, both written with what is held now. 0 when that failed too.
int LoadOrCreateConfig(PowerConfig& cfg, ScheduleEntry sched[7]);

// Tells on standard output that the settings could be neither read nor written.
void PrintSettingsError();
