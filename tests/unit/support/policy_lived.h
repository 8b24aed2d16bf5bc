// What a daemon can live through, round by round, and what a calendar says about it.
#pragma once

#include "base/system.h"
#include "tests/unit/support/policy_bench.h"

#include <optional>
#include <vector>

struct Settings {
    PowerConfig cfg;
    Week week;
};

struct Round {
    int64_t now;
    int64_t slept; // of the time since the round before
    time_t wall;
    Ups ups;
    Settings settings;
};

struct History {
    int64_t start;
    PolicyKept kept;
    std::vector<Round> rounds;
};

inline bool HasReading(Ups ups)
{
    return ups != Ups::silent && ups != Ups::lost && ups != Ups::none;
}

inline bool IsFailed(Ups ups)
{
    return ups == Ups::failed || ups == Ups::low;
}

inline bool IsGood(Ups ups)
{
    return ups == Ups::good || ups == Ups::goodLow;
}

inline bool IsLow(Ups ups)
{
    return ups == Ups::low || ups == Ups::goodLow;
}

inline int MinuteOfWeek(time_t at)
{
    tm local = LocalTime(at);
    return (local.tm_wday * 24 + local.tm_hour) * 60 + local.tm_min;
}

// Whether the table shuts down at this minute of the week.
inline bool IsInTable(const Week& week, int minute)
{
    const ScheduleEntry& entry = week.days[minute / 1440];
    return entry.shutdownHour == minute / 60 % 24 && entry.shutdownMinute == minute % 60;
}

// Whether a scheduled time is at this very second: clocks show it and did not show it in the
// three hours before, or skip it.
inline bool IsScheduled(time_t at, const Settings& settings)
{
    if (settings.cfg.scheduleOn != 1 || at % 60 != 0)
        return false;
    int shown = MinuteOfWeek(at);
    int step = (shown - MinuteOfWeek(at - 60) + 10080) % 10080;
    for (int skipped = 1; step < 1440 && skipped < step; skipped++) {
        if (IsInTable(settings.week, (shown - skipped + 10080) % 10080))
            return true;
    }
    if (!IsInTable(settings.week, shown))
        return false;
    for (int minutes = 1; minutes <= 180; minutes++) {
        if (MinuteOfWeek(at - 60 * minutes) == shown)
            return false;
    }
    return true;
}

// The first start after the moment, by the calendar; one at its very minute is a week later,
// whatever other there is. The starts of these tests are at hours in which no clock changes.
inline std::optional<time_t> FindStart(time_t after, const Week& week)
{
    tm now = LocalTime(after);
    const ScheduleEntry& today = week.days[now.tm_wday];
    bool isNow = today.startHour == now.tm_hour && today.startMinute == now.tm_min;
    for (int days = isNow ? 7 : 0; days <= 7; days++) {
        tm local = now;
        const ScheduleEntry& entry = week.days[(local.tm_wday + days) % 7];
        local.tm_mday += days;
        local.tm_hour = entry.startHour;
        local.tm_min = entry.startMinute;
        local.tm_sec = 0;
        local.tm_isdst = -1;
        if (entry.startHour != -1 && mktime(&local) > after)
            return mktime(&local);
    }
    return {};
}
