#include "daemon/status_file.h"

#include "base/text.h"
#include "daemon/state_files.h"
#include "daemon/whole_file.h"

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace {

constexpr size_t VALUE_SIZE = 200;

// How a member's value is written in JSON; in an environment a text has no quotes, and
// nothing stands for null.
enum MemberKind {
    MEMBER_PLAIN, // a number, true or false
    MEMBER_TEXT,
    MEMBER_NULL
};

struct Member {
    const char* name;
    MemberKind kind;
    char value[VALUE_SIZE];
};

constexpr int MEMBERS = 48;

struct Members {
    int count;
    Member list[MEMBERS];
};

Member& AddMember(Members& members, const char* name, MemberKind kind)
{
    Member& member = members.list[members.count < MEMBERS - 1 ? members.count++ : MEMBERS - 1];
    member.name = name;
    member.kind = kind;
    member.value[0] = '\0';
    return member;
}

void AddText(Members& members, const char* name, const char* text)
{
    Member& member = AddMember(members, name, MEMBER_TEXT);
    CopyField(member.value, text);
    MakePrintable(member.value);
}

void AddBool(Members& members, const char* name, bool state)
{
    CopyField(AddMember(members, name, MEMBER_PLAIN).value, state ? "true" : "false");
}

void AddWhole(Members& members, const char* name, int64_t number)
{
    FormatText(AddMember(members, name, MEMBER_PLAIN).value, VALUE_SIZE, "%" PRId64, number);
}

void AddNumber(Members& members, const char* name, double number, int decimals)
{
    if (std::isfinite(number))
        FormatText(AddMember(members, name, MEMBER_PLAIN).value, VALUE_SIZE, "%.*f", decimals,
                   number);
    else
        AddMember(members, name, MEMBER_NULL);
}

// What only a UPS on a serial line tells.
void AddBit(Members& members, const char* name, const StatusView& view, bool state)
{
    if (view.policy.isKnown && view.source.path == PATH_SERIAL)
        AddBool(members, name, state);
    else
        AddMember(members, name, MEMBER_NULL);
}

const char* PathName(UpsPath path)
{
    static constexpr const char* NAMES[] = {"none", "serial", "snmp"};
    return NAMES[path];
}

const char* UpsState(const StatusView& view)
{
    if (view.source.path == PATH_NONE)
        return "none";
    if (view.policy.isLost || view.source.state == SOURCE_LOST)
        return "lost";
    return view.source.state == SOURCE_HEARD ? "heard" : "starting";
}

const char* DeviceOf(const StatusView& view)
{
    if (view.source.path == PATH_SERIAL)
        return view.cfg.comPort;
    return view.source.path == PATH_AGENT ? view.cfg.snmpIp : "";
}

void AddReading(Members& members, const StatusView& view)
{
    const Reading& reading = view.reading;
    bool isKnown = view.policy.isKnown;
    AddText(members, "mains", !isKnown ? "unknown" : reading.mainsFailed ? "failed" : "good");
    AddText(members, "battery", !isKnown ? "unknown" : reading.batteryLow ? "low" : "normal");
    AddNumber(members, "reading_age",
              view.readingAt == NEVER ? NAN : static_cast<double>(view.now - view.readingAt) / 1000,
              1);
    AddNumber(members, "input_voltage", reading.inputVoltage, 1);
    AddNumber(members, "fault_voltage", reading.faultVoltage, 1);
    AddNumber(members, "output_voltage", reading.outputVoltage, 1);
    AddNumber(members, "input_frequency", reading.inputFrequency, 1);
    AddNumber(members, "load", reading.load, 0);
    AddNumber(members, "battery_voltage", reading.batteryVoltage, 2);
    AddNumber(members, "battery_charge", reading.batteryCharge, 0);
    AddNumber(members, "temperature", reading.temperature, 1);
    AddNumber(members, "time_on_battery", reading.onBattery, 0);
    AddBit(members, "ups_failed", view, reading.isFailed);
    AddBit(members, "testing", view, reading.isTesting);
    AddBit(members, "boosting", view, reading.isBoosting);
    AddBit(members, "standby", view, reading.isStandby);
}

void AddNames(Members& members, const UpsNames& names)
{
    AddText(members, "model", names.model);
    AddNumber(members, "rated_voltage", names.ratedVoltage, 1);
    AddNumber(members, "rated_current", names.ratedCurrent, 0);
    AddNumber(members, "rated_battery", names.ratedBattery, 2);
    AddNumber(members, "rated_frequency", names.ratedFrequency, 1);
}

// What shuts the system down next, and in how many seconds; not a number where that is not known.
struct Pending {
    const char* name;
    double left;
};

// An outage that is doubted may be over, or due as soon as it is confirmed.
Pending FindPending(const StatusView& view)
{
    const PolicyState& policy = view.policy;
    if (view.isGoingDown)
        return {"shutdown", 0};
    if (policy.isDoubted)
        return {"outage", NAN};
    Pending next = {"none", NAN};
    int64_t due = OutageDue(policy);
    if (due != NEVER)
        next = {"outage", std::max(0.0, static_cast<double>(due - view.now) / 1000)};
    if (policy.scheduled.at == -1)
        return next;
    double left = std::max(0.0, static_cast<double>(policy.scheduled.at - time(nullptr)));
    return due == NEVER || left < next.left ? Pending{"schedule", left} : next;
}

void AddPending(Members& members, const StatusView& view)
{
    const PolicyState& policy = view.policy;
    Pending next = FindPending(view);
    AddText(members, "pending", next.name);
    AddNumber(members, "shutdown_in", next.left, 0);
    AddNumber(members, "outage_seconds",
              policy.kept.outageSince == NEVER
                  ? NAN
                  : static_cast<double>(view.now - policy.kept.outageSince) / 1000,
              0);
    if (policy.scheduled.at != -1)
        AddWhole(members, "scheduled_at", policy.scheduled.at);
    else
        AddMember(members, "scheduled_at", MEMBER_NULL);
}

void FillMembers(Members& members, const StatusView& view)
{
    members.count = 0;
    AddWhole(members, "status", StatusCode(view));
    AddText(members, "source", PathName(view.source.path));
    AddText(members, "device", DeviceOf(view));
    AddText(members, "ups", UpsState(view));
    AddReading(members, view);
    AddNames(members, view.source.names);
    AddPending(members, view);
    AddBool(members, "dry_run", view.isDryRun);
    AddWhole(members, "time", time(nullptr));
    AddWhole(members, "boot_milliseconds", view.now);
    AddWhole(members, "pid", getpid());
}

// Appends to text from length on; the new length.
size_t AppendText(char (&text)[STATUS_TEXT_SIZE], size_t length, const char* more)
{
    CopyText(text + length, STATUS_TEXT_SIZE - length, more);
    return length + strlen(text + length);
}

size_t AppendMember(char (&text)[STATUS_TEXT_SIZE], size_t length, const Member& member)
{
    char quoted[2 * VALUE_SIZE];
    char* end = quoted;
    for (const char* c = member.value; *c != '\0'; c++) {
        if (*c == '"' || *c == '\\')
            *end++ = '\\';
        *end++ = *c;
    }
    *end = '\0';
    const char* mark = member.kind == MEMBER_TEXT ? "\"" : "";
    const char* value = member.kind == MEMBER_NULL ? "null" : quoted;
    for (const char* part : {"  \"", member.name, "\": ", mark, value, mark})
        length = AppendText(text, length, part);
    return length;
}

} // namespace

int StatusCode(const StatusView& view)
{
    return view.isGoingDown ? 3 : PolicyStatus(view.policy);
}

size_t FormatStatus(char (&text)[STATUS_TEXT_SIZE], const StatusView& view)
{
    Members members;
    FillMembers(members, view);
    size_t length = AppendText(text, 0, "{\n");
    for (int i = 0; i < members.count; i++) {
        length = AppendMember(text, length, members.list[i]);
        length = AppendText(text, length, i + 1 < members.count ? ",\n" : "\n");
    }
    return AppendText(text, length, "}\n");
}

bool KeepStatus(const StatusView& view)
{
    char text[STATUS_TEXT_SIZE];
    size_t length = FormatStatus(text, view);
    return ReplaceWholeFile(STATUS_PATH, text, length, 0644);
}

void FillEnvironment(EventEnvironment& environment, const StatusView& view)
{
    Members members;
    FillMembers(members, view);
    StartEnvironment(environment);
    for (int i = 0; i < members.count; i++) {
        const Member& member = members.list[i];
        char name[48];
        FormatText(name, sizeof(name), "UPS_%s", member.name);
        for (char* c = name; *c != '\0'; c++)
            *c = static_cast<char>(toupper(static_cast<unsigned char>(*c)));
        AddVariable(environment, name, "%s", member.value);
    }
}
