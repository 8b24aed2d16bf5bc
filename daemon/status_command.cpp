#include "daemon/status_command.h"

#include "base/text.h"
#include "daemon/explain.h"
#include "daemon/process.h"
#include "daemon/state_files.h"
#include "daemon/status_file.h"
#include "daemon/whole_file.h"

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr double STALE_AFTER = 10000; // milliseconds: a living daemon writes every second

bool IsFromLivingDaemon(const char* status)
{
    double writtenAt = StatusNumber(status, "boot_milliseconds");
    double age = static_cast<double>(BootMilliseconds()) - writtenAt;
    pid_t pid = TruncateToInt(StatusNumber(status, "pid"));
    bool isAlive = pid > 1 && (kill(pid, 0) == 0 || errno == EPERM);
    return isAlive && age >= 0 && age < STALE_AFTER;
}

enum LineKind {
    LINE_PLAIN,
    LINE_YES_NO,
    LINE_WHEN // seconds since the epoch, shown as a date
};

// A line of the report; a value that is not known leaves its line out.
struct Line {
    const char* label;
    const char* member;
    const char* unit;
    LineKind kind = LINE_PLAIN;
};

constexpr Line LINES[] = {
    {"UPS", "ups", ""},
    {"reached by", "source", ""},
    {"device", "device", ""},
    {"model", "model", ""},
    {"mains", "mains", ""},
    {"battery", "battery", ""},
    {"UPS fault", "ups_failed", "", LINE_YES_NO},
    {"testing", "testing", "", LINE_YES_NO},
    {"boost or buck", "boosting", "", LINE_YES_NO},
    {"off-line type", "standby", "", LINE_YES_NO},
    {"input voltage", "input_voltage", " V"},
    {"fault voltage", "fault_voltage", " V"},
    {"output voltage", "output_voltage", " V"},
    {"input frequency", "input_frequency", " Hz"},
    {"load", "load", " %"},
    {"battery voltage", "battery_voltage", " V"},
    {"battery charge", "battery_charge", " %"},
    {"temperature", "temperature", " C"},
    {"rated voltage", "rated_voltage", " V"},
    {"rated current", "rated_current", " A"},
    {"rated battery", "rated_battery", " V"},
    {"rated frequency", "rated_frequency", " Hz"},
    {"time on battery", "time_on_battery", " s"},
    {"power failure for", "outage_seconds", " s"},
    {"pending", "pending", ""},
    {"shutdown in", "shutdown_in", " s"},
    {"scheduled for", "scheduled_at", "", LINE_WHEN},
};

bool IsTrue(const char* value)
{
    return strcmp(value, "true") == 0;
}

void PrintLine(const Line& line, const char* value)
{
    char when[WHEN_SIZE];
    switch (line.kind) {
    case LINE_YES_NO:
        value = IsTrue(value) ? "yes" : "no";
        break;
    case LINE_WHEN:
        FormatWhen(when, atoll(value));
        value = when;
        break;
    default:
        break;
    }
    printf("%-18s %s%s\n", line.label, value, line.unit);
}

// The file may be somebody else's who made its folder first: no line of it acts on a terminal.
void PrintJson(const char* status)
{
    char text[STATUS_TEXT_SIZE];
    CopyField(text, status);
    char* rest = text;
    while (char* line = strtok_r(rest, "\n", &rest)) {
        MakePrintable(line);
        puts(line);
    }
}

// Takes the quotes off a text, and the backslash before those in it and before another one.
void Unquote(char* value)
{
    char* end = value;
    for (const char* c = value + 1; *c != '\0' && *c != '"'; c++) {
        if (*c == '\\' && c[1] != '\0')
            c++;
        *end++ = *c;
    }
    *end = '\0';
}

} // namespace

void FindStatusMember(const char* status, const char* name, char (&value)[STATUS_VALUE_SIZE])
{
    char key[64]; // the daemon writes a member a line
    value[0] = '\0';
    FormatText(key, sizeof(key), "\n  \"%s\": ", name);
    const char* found = strstr(status, key);
    if (found == nullptr)
        return;
    found += strlen(key);
    CopyField(value, found);
    value[strcspn(value, "\n")] = '\0';
    size_t length = strlen(value);
    if (length > 0 && value[length - 1] == ',')
        value[length - 1] = '\0';
    if (strcmp(value, "null") == 0)
        value[0] = '\0';
    if (value[0] == '"')
        Unquote(value);
    MakePrintable(value);
}

double StatusNumber(const char* status, const char* name)
{
    char value[STATUS_VALUE_SIZE];
    FindStatusMember(status, name, value);
    return value[0] != '\0' ? strtod(value, nullptr) : NAN;
}

bool ReadRunningStatus(char* text, size_t size)
{
    return ReadSmallFile(STATUS_PATH, text, size) > 0 && IsFromLivingDaemon(text);
}

bool IsDaemonRunning()
{
    char status[STATUS_TEXT_SIZE];
    return ReadRunningStatus(status, sizeof(status));
}

bool IsDryRun(const char* status)
{
    char value[STATUS_VALUE_SIZE];
    FindStatusMember(status, "dry_run", value);
    return IsTrue(value);
}

void PrintStatusLines(const char* status)
{
    for (const Line& line : LINES) {
        char value[STATUS_VALUE_SIZE];
        FindStatusMember(status, line.member, value);
        if (value[0] != '\0')
            PrintLine(line, value);
    }
    if (IsDryRun(status))
        printf("%-18s nothing is protected\n", "dry run");
}

int ShowStatus(bool isJson)
{
    char text[STATUS_TEXT_SIZE];
    if (!ReadRunningStatus(text, sizeof(text))) {
        fputs(isJson ? "{}\n" : "no daemon is running\n", stdout);
        return 1;
    }
    if (isJson)
        PrintJson(text);
    else
        PrintStatusLines(text);
    double status = StatusNumber(text, "status"); // the daemon's own says 0 to 3
    return status >= 0 && status <= 3 ? static_cast<int>(status) : 1;
}
