#include "daemon/check.h"

#include "base/system.h"
#include "base/text.h"
#include "daemon/explain.h"
#include "daemon/first_aid.h"
#include "daemon/holders.h"
#include "daemon/policy.h"
#include "daemon/process.h"
#include "daemon/source.h"
#include "daemon/status_command.h"
#include "daemon/status_file.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <sys/stat.h>

namespace {

constexpr int64_t ASKING_LIMIT = 10000; // milliseconds, tries at all three requests included
constexpr int64_t DAEMON_LIMIT = 10000; // for the daemon to find the UPS or miss it
constexpr double LOOK_PERIOD = 0.1;

// A device may have more than one name.
bool IsSameDevice(const char* one, const char* other)
{
    struct stat first = {};
    struct stat second = {};
    if (strcmp(one, other) == 0)
        return true;
    return stat(one, &first) == 0 && stat(other, &second) == 0 && S_ISCHR(first.st_mode) &&
           S_ISCHR(second.st_mode) && first.st_rdev == second.st_rdev;
}

template <typename Record> struct ShownNumber {
    const char* label;
    double Record::*number;
    const char* unit;
};

constexpr ShownNumber<Reading> READING_NUMBERS[] = {
    {"input voltage", &Reading::inputVoltage, "V"},
    {"fault voltage", &Reading::faultVoltage, "V"},
    {"output voltage", &Reading::outputVoltage, "V"},
    {"input frequency", &Reading::inputFrequency, "Hz"},
    {"load", &Reading::load, "%"},
    {"battery voltage", &Reading::batteryVoltage, "V"},
    {"battery charge", &Reading::batteryCharge, "%"},
    {"temperature", &Reading::temperature, "C"},
    {"time on battery", &Reading::onBattery, "s"},
};

constexpr ShownNumber<UpsNames> RATING_NUMBERS[] = {
    {"rated voltage", &UpsNames::ratedVoltage, "V"},
    {"rated current", &UpsNames::ratedCurrent, "A"},
    {"rated battery", &UpsNames::ratedBattery, "V"},
    {"rated frequency", &UpsNames::ratedFrequency, "Hz"},
};

// What the UPS does not tell is left out.
template <typename Record, size_t count>
void PrintNumbers(const ShownNumber<Record> (&numbers)[count], const Record& record)
{
    for (const ShownNumber<Record>& shown : numbers) {
        double number = record.*shown.number;
        if (!std::isnan(number))
            printf("%-18s %g %s\n", shown.label, number, shown.unit);
    }
}

void PrintSwitch(const char* label, bool isOn)
{
    printf("%-18s %s\n", label, isOn ? "yes" : "no");
}

// What only a UPS on a serial line tells.
void PrintSwitches(const Reading& reading)
{
    PrintSwitch("UPS fault", reading.isFailed);
    PrintSwitch("testing", reading.isTesting);
    PrintSwitch("boost or buck", reading.isBoosting);
    PrintSwitch("off-line type", reading.isStandby);
}

void PrintReading(const Reading& reading, const UpsNames& names, UpsPath path)
{
    if (names.model[0] != '\0')
        printf("%-18s %s\n", "model", names.model);
    printf("%-18s %s\n", "mains", reading.mainsFailed ? "failed" : "good");
    printf("%-18s %s\n", "battery", reading.batteryLow ? "low" : "normal");
    if (path == PATH_SERIAL)
        PrintSwitches(reading);
    PrintNumbers(READING_NUMBERS, reading);
    PrintNumbers(RATING_NUMBERS, names);
}

// Runs the daemon's own questions until the UPS said how it is and what it is, or time is
// over. True when it answered.
bool AskLine(Source& source, Reading& reading)
{
    bool isAnswered = false;
    int64_t end = BootMilliseconds() + ASKING_LIMIT;
    int64_t now = BootMilliseconds();
    while (now < end && source.state != SOURCE_LOST && source.serial.openError == 0) {
        SourceNews news;
        RunSource(source, now, news);
        if (news.hasReading) {
            isAnswered = true;
            reading = news.reading;
        }
        bool isAllKnown = isAnswered && source.serial.askAt[REQUEST_MODEL] > now + ASKING_LIMIT &&
                          source.serial.asked == REQUEST_NONE;
        if (isAllKnown)
            break;
        pollfd input = {SourceDescriptor(source), POLLIN, 0};
        poll(&input, 1, 50);
        now = BootMilliseconds();
    }
    return isAnswered;
}

// The running daemon's status when it holds this line.
bool ReadDaemonsStatus(const char* line, char (&status)[STATUS_TEXT_SIZE])
{
    char device[STATUS_VALUE_SIZE];
    if (!ReadRunningStatus(status, sizeof(status)))
        return false;
    FindStatusMember(status, "device", device);
    return IsSameDevice(device, line);
}

int ShowDaemonsReading(const char* status)
{
    char ups[STATUS_VALUE_SIZE];
    PrintStatusLines(status);
    FindStatusMember(status, "ups", ups);
    return strcmp(ups, "heard") == 0 ? 0 : 1;
}

// A line that the daemon watches is not even opened: that alone raises its signals.
int ReportLine(const PowerConfig& cfg)
{
    char status[STATUS_TEXT_SIZE];
    if (ReadDaemonsStatus(cfg.comPort, status)) {
        printf("The running daemon holds the line. Its last reading:\n");
        int result = ShowDaemonsReading(status);
        PrintHolders(cfg.comPort, TruncateToInt(StatusNumber(status, "pid")));
        return result;
    }
    if (!IsDaemonRunning() && FindDaemon() >= 0) {
        printf("A daemon that tells no status may hold the line: it was not asked.\n");
        PrintHolders(cfg.comPort, -1);
        return 1;
    }
    Source source = {};
    Reading reading;
    StartSource(source, cfg, BootMilliseconds());
    source.serial.mustBeFree = true;
    bool isAnswered = AskLine(source, reading);
    int openError = source.serial.openError;
    if (openError == 0)
        StopSource(source);
    if (openError == EBUSY)
        printf("The line is held by another program: it was not asked.\n");
    else if (openError != 0)
        PrintAnswer("The line %s cannot be opened: %s.", cfg.comPort, strerror(openError));
    else if (!isAnswered)
        PrintAnswer("The UPS does not answer on %s: check cable, device and baud rate.",
                    cfg.comPort);
    else
        PrintReading(reading, source.names, PATH_SERIAL);
    if (source.serial.garbled > 0)
        printf("%u replies were garbled.\n", source.serial.garbled);
    PrintHolders(cfg.comPort, -1);
    return isAnswered ? 0 : 1;
}

int ReportAgent(const PowerConfig& cfg)
{
    Reading reading;
    UpsNames names;
    if (!AskAgentOnce(cfg.snmpIp, cfg.snmpCommunity, reading, names)) {
        PrintAnswer("The agent %s does not answer for its UPS: check address and community.",
                    cfg.snmpIp);
        return 1;
    }
    PrintReading(reading, names, PATH_AGENT);
    return 0;
}

// What is waited for in the status of the daemon that was told of these settings at a moment.
using Awaited = bool (*)(const char* status, const PowerConfig& cfg, int64_t toldAt);

bool IsTakenUp(const char* status, const PowerConfig& cfg, int64_t toldAt)
{
    char source[STATUS_VALUE_SIZE];
    char device[STATUS_VALUE_SIZE];
    FindStatusMember(status, "source", source);
    FindStatusMember(status, "device", device);
    bool isSerial = PathOfSettings(cfg) == PATH_SERIAL;
    return strcmp(source, isSerial ? "serial" : "snmp") == 0 &&
           strcmp(device, isSerial ? cfg.comPort : cfg.snmpIp) == 0 &&
           StatusNumber(status, "boot_milliseconds") >= static_cast<double>(toldAt);
}

bool IsHeard(const char* status, const PowerConfig& cfg, int64_t toldAt)
{
    char ups[STATUS_VALUE_SIZE];
    FindStatusMember(status, "ups", ups);
    double heardAt =
        StatusNumber(status, "boot_milliseconds") - 1000 * StatusNumber(status, "reading_age");
    return strcmp(ups, "heard") == 0 && IsTakenUp(status, cfg, toldAt) &&
           heardAt >= static_cast<double>(toldAt);
}

// False when it did not come in time; the last status is given back all the same.
bool WaitForDaemon(Awaited isSo, const PowerConfig& cfg, int64_t toldAt,
                   char (&status)[STATUS_TEXT_SIZE])
{
    int64_t end = BootMilliseconds() + DAEMON_LIMIT;
    bool isCome = false;
    while (!isCome && BootMilliseconds() < end) {
        PauseSeconds(LOOK_PERIOD);
        isCome = ReadRunningStatus(status, sizeof(status)) && isSo(status, cfg, toldAt);
    }
    return isCome;
}

int ReportDeafDaemon()
{
    printf("The running daemon has not taken up the new settings: see its log.\n");
    return 1;
}

// The line is the daemon's: what it hears there is what counts. A UPS that it has lost may be
// the one of the old settings, and the new one is not heard at once.
int ReportDaemonsLine(const PowerConfig& cfg, int64_t toldAt)
{
    char status[STATUS_TEXT_SIZE];
    bool isHeard = WaitForDaemon(IsHeard, cfg, toldAt, status);
    if (!isHeard && !IsTakenUp(status, cfg, toldAt))
        return ReportDeafDaemon();
    printf("What the running daemon hears:\n");
    PrintStatusLines(status);
    return isHeard ? 0 : 1;
}

// An agent answers whoever asks: so it is seen whether address and community are right.
int ReportDaemonsAgent(const PowerConfig& cfg, int64_t toldAt)
{
    char status[STATUS_TEXT_SIZE];
    if (ReportAgent(cfg) != 0)
        return 1;
    return WaitForDaemon(IsTakenUp, cfg, toldAt, status) ? 0 : ReportDeafDaemon();
}

// toldAt is when a running daemon was told of the settings, NEVER when none was.
int Check(int64_t toldAt)
{
    PowerConfig cfg = {};
    ScheduleEntry sched[7];
    InitConfig(cfg, sched);
    SettingsRead read = ReadSettings(cfg, sched);
    if (read != SETTINGS_WHOLE)
        printf("The settings cannot be read whole: what is missing has its default.\n");
    char status[STATUS_TEXT_SIZE];
    if (read == SETTINGS_REFUSED && toldAt == NEVER && ReadRunningStatus(status, sizeof(status))) {
        PrintTroubles(cfg, sched);
        printf("\nThe running daemon goes by the settings that it has. Its last reading:\n");
        return ShowDaemonsReading(status);
    }
    UpsPath path = PathOfSettings(cfg);
    PrintSettings(cfg, sched, path);
    PrintTroubles(cfg, sched);
    printf("\n");
    fflush(stdout);
    if (path == PATH_NONE)
        return 1;
    if (toldAt != NEVER)
        return path == PATH_SERIAL ? ReportDaemonsLine(cfg, toldAt)
                                   : ReportDaemonsAgent(cfg, toldAt);
    return path == PATH_SERIAL ? ReportLine(cfg) : ReportAgent(cfg);
}

} // namespace

int CheckUps()
{
    return Check(NEVER);
}

int CheckAfterTelling(int64_t toldAt)
{
    return Check(toldAt);
}

bool IsDaemonsLine(const char* device)
{
    char status[STATUS_TEXT_SIZE];
    return ReadDaemonsStatus(device, status);
}
