// Schedules of any integers at any time of any zone. An input is a byte that names the zone, eight
// bytes of time, four of the turn-off delay and the table; a table that is too short is filled up
// with times that never come.
#include "base/system.h"
#include "daemon/policy_schedule.h"
#include "fuzz/support/fields.h"
#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/waits.h"
#include "settings/schedule.h"
#include "status/tolvstat_data.h"

namespace {

constexpr int WEEK = 7 * 24 * 60;           // minutes
constexpr time_t LATEST_CLOCK = 9223372036; // the kernel holds no later one
constexpr time_t CLOCK_CHANGES = 2 * 86400; // seconds, more than any zone was ever put
constexpr const char* ZONES[] = {
    "UTC",          "Europe/Berlin",     "America/St_Johns", "Australia/Lord_Howe",
    "Pacific/Apia", "Africa/Casablanca", "Asia/Kolkata"};

struct Table {
    ScheduleEntry days[7];
    time_t now;
    float offDelay;
};

bool IsTime(int hour, int minute)
{
    return hour >= 0 && hour <= 23 && minute >= 0 && minute <= 59;
}

// Whether clocks show every time of the table.
bool IsPlain(const Table& table)
{
    return std::all_of(table.days, std::end(table.days), [](const ScheduleEntry& entry) {
        return (entry.startHour == -1 || IsTime(entry.startHour, entry.startMinute)) &&
               (entry.shutdownHour == -1 || IsTime(entry.shutdownHour, entry.shutdownMinute));
    });
}

bool HasShutdown(const Table& table)
{
    return std::any_of(table.days, std::end(table.days),
                       [](const ScheduleEntry& entry) { return entry.shutdownHour != -1; });
}

Table TakeTable(Input& input)
{
    Table table = {};
    const char* zone = ZONES[static_cast<size_t>(TakeByte(input)) % std::size(ZONES)];
    setenv("TZ", zone, 1);
    tzset();
    table.now = static_cast<time_t>(TakeNumber<uint64_t>(input) % uint64_t{LATEST_CLOCK});
    table.offDelay = TakeNumber<float>(input);
    for (ScheduleEntry& entry : table.days) {
        entry = {-1, -1, -1, -1};
        for (int32_t* number :
             {&entry.startHour, &entry.startMinute, &entry.shutdownHour, &entry.shutdownMinute}) {
            if (!IsUsedUp(input))
                *number = TakeNumber<int32_t>(input);
        }
    }
    return table;
}

void CheckDistance(const Table& table)
{
    int hours[7];
    int minutes[7];
    for (int day = 0; day < 7; day++) {
        hours[day] = table.days[day].shutdownHour;
        minutes[day] = table.days[day].shutdownMinute;
    }
    tm local = LocalTime(table.now);
    int found = -1;
    int distance = TimeDif(local.tm_wday, local.tm_hour, local.tm_min, hours, minutes, &found);
    Require(found >= 0 && found <= 6, "a day is found");
    if (!HasShutdown(table)) {
        Require(distance == -1, "no event is at no distance");
    } else if (IsPlain(table)) {
        Require(hours[found] != -1, "the day found has an event");
        Require(distance >= 1 && distance <= WEEK, "every event comes within a week");
        int at = (local.tm_wday * 24 + local.tm_hour) * 60 + local.tm_min + distance;
        Require(at % WEEK == (found * 24 + hours[found]) * 60 + minutes[found],
                "the distance leads to the event");
    }
}

void CheckShutdown(const Table& table)
{
    time_t at = -2;
    int restartAfter = 0;
    int day = -1;
    int restartDay = -1;
    CalcSchdlTimeFrom(table.now, table.days, &at, &restartAfter, &day, &restartDay,
                      static_cast<double>(table.offDelay));
    Require((at == -1 && day == -1) || (day >= 0 && day <= 6), "a shutdown has its day");
    Require(restartDay >= -1 && restartDay <= 6, "a start has its day");
    if (day == -1 || !IsPlain(table))
        return;
    Require(at > table.now && at <= table.now + WEEK * 60 && at % 60 == 0,
            "a shutdown is a whole minute within a week");
}

void CheckDaemons(const Table& table)
{
    if (!IsPlain(table))
        return; // the daemon takes other times out before it looks
    ScheduledShutdown next = NextScheduled(table.now, table.days, table.offDelay);
    Require((next.at != -1) == HasShutdown(table), "a shutdown of the table comes");
    if (next.at != -1)
        Require(next.at > table.now && next.at <= table.now + 2 * WEEK * 60 + CLOCK_CHANGES,
                "it comes soon");
}

void CheckFrontEnds(const Table& table)
{
    PowerConfig cfg = {};
    StatusFields fields = {};
    int shutdownDue = 0;
    cfg.scheduleOn = 1;
    cfg.turnOffUps = 1;
    cfg.acFailDelay = 5;
    cfg.upsOffDelay = table.offDelay;
    SetTimeOfDay(table.now);
    GetFromConfig(fields, cfg, table.days, &shutdownDue);
    SetTimeOfDay(-1);
    RequireWholeFields(fields);
    bool isShown = std::string_view(fields.nextShutdown) != NO_EVENT;
    if (IsPlain(table)) // nonsense may happen to come out as the distance of no event
        Require(isShown == HasShutdown(table), "a shutdown of the table is shown");
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    Input input = MakeInput(bytes, size);
    Table table = TakeTable(input);
    CheckDistance(table);
    CheckShutdown(table);
    CheckDaemons(table);
    CheckFrontEnds(table);
    return 0;
}
