// The policy on a bench: a UPS by turns of good and bad words, time in rounds, and
// everything that comes out as lines of text.
#pragma once

#include "daemon/policy.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <sstream>
#include <string>
#include <vector>

// What a round gets from the UPS. silent: no reading, but not lost to the source; unknown:
// none, while the settings cannot be read.
enum class Ups { good, failed, low, goodLow, silent, lost, none, unknown };

inline const char* WhatName(PolicyWhat what)
{
    static const char* const names[] = {"outage",     "mains-back",   "battery-low", "ups-lost",
                                        "ups-back",   "settings",     "shutdown",    "goes-on",
                                        "forgotten",  "low-on-mains", "bad-setting", "countdown",
                                        "called-off", "missed",       "return-cut"};
    return names[what];
}

inline std::string ActionText(const PolicyAction& action)
{
    static const char* const causes[] = {"", " by outage", " by schedule"};
    std::ostringstream text;
    text << WhatName(action.what) << causes[action.cause];
    if (action.number != 0)
        text << " " << action.number;
    if (action.tellUsers)
        text << " to users";
    return text.str();
}

inline void UseZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

// A moment of local time; isdst tells apart the hours that clocks show twice.
inline time_t LocalMoment(int year, int month, int day, int hour, int minute, int second = 0,
                          int isdst = -1)
{
    tm local = {};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = isdst;
    return mktime(&local);
}

struct PolicyBench {
    PolicyState state = {};
    PolicyActions actions = {};
    PowerConfig cfg = {};
    ScheduleEntry sched[7] = {};
    int64_t start = 50000000; // the machine runs for some hours already
    int64_t now = start;
    time_t wall = 1714557600; // Wednesday, 1 May 2024, 10:00 in Greenwich
    int64_t wallRest = 0;     // milliseconds beyond it
    int64_t slept = 0;        // milliseconds since the last round
    std::vector<std::string> said;

    PolicyBench()
    {
        InitConfig(cfg, sched);
    }

    // Seconds since the start.
    double Seconds() const
    {
        return static_cast<double>(now - start) / 1000.0;
    }

    void Listen()
    {
        for (int i = 0; i < actions.count; i++) {
            std::ostringstream line;
            line << Seconds() << " " << ActionText(actions.list[i]);
            said.push_back(line.str());
        }
    }

    void Start(const PolicyKept& kept = NOTHING_KEPT)
    {
        StartPolicy(state, cfg, sched, kept, now, actions);
        Listen();
    }

    void Change()
    {
        ChangePolicySettings(state, cfg, sched, actions);
        Listen();
    }

    // A round without any time having passed.
    void Ask(Ups ups)
    {
        PolicyReading reading = {ups == Ups::failed || ups == Ups::low,
                                 ups == Ups::low || ups == Ups::goodLow};
        PolicyInput input = {now, slept, wall, LINK_HEARD, &reading};
        if (ups == Ups::silent || ups == Ups::lost || ups == Ups::none || ups == Ups::unknown)
            input.reading = nullptr;
        if (ups == Ups::lost)
            input.link = LINK_LOST;
        if (ups == Ups::none || ups == Ups::unknown)
            input.link = ups == Ups::none ? LINK_NONE : LINK_UNKNOWN;
        StepPolicy(state, input, actions);
        slept = 0;
        Listen();
    }

    void Pass(double seconds)
    {
        auto milliseconds = static_cast<int64_t>(seconds * 1000.0 + 0.5);
        now += milliseconds;
        wallRest += milliseconds;
        wall += wallRest / 1000;
        wallRest %= 1000;
    }

    // One round after so many seconds.
    void Round(double seconds, Ups ups)
    {
        Pass(seconds);
        Ask(ups);
    }

    // The machine sleeps for so many seconds, and a round follows.
    void Sleep(double seconds, Ups ups)
    {
        Pass(seconds);
        slept += static_cast<int64_t>(seconds * 1000.0 + 0.5);
        Ask(ups);
    }

    // Rounds for so many seconds, or until the shutdown.
    void Run(double seconds, Ups ups, double round = 1.0)
    {
        int64_t end = now + static_cast<int64_t>(seconds * 1000.0 + 0.5);
        while (now < end && !HasBegun())
            Round(std::min(round, static_cast<double>(end - now) / 1000.0), ups);
    }

    bool HasBegun() const
    {
        return state.order.cause != CAUSE_NONE;
    }

    // The second of the shutdown, -1 without one.
    double ShutdownAt() const
    {
        return HasBegun() ? Seconds() : -1.0;
    }

    // What was said of the given kinds, each "second text".
    std::vector<std::string> Said(const std::string& kind) const
    {
        std::vector<std::string> found;
        for (const std::string& line : said) {
            if (line.compare(line.find(' ') + 1, kind.size(), kind) == 0)
                found.push_back(line);
        }
        return found;
    }

    int Count(const std::string& kind) const
    {
        return static_cast<int>(Said(kind).size());
    }
};

inline constexpr int SUNDAY = 0;
inline constexpr int MONDAY = 1;
inline constexpr int TUESDAY = 2;
inline constexpr int WEDNESDAY = 3;
inline constexpr int THURSDAY = 4;
inline constexpr int FRIDAY = 5;
inline constexpr int SATURDAY = 6;

inline constexpr char BERLIN[] = "Europe/Berlin";
inline constexpr time_t HOUR = 3600;
inline constexpr time_t DAY = 24 * HOUR;

// A weekly schedule, at first without any time.
struct Week {
    ScheduleEntry days[7] = {{-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1},
                             {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}};
};

inline Week ShutdownOn(int day, int hour, int minute)
{
    Week week;
    week.days[day].shutdownHour = hour;
    week.days[day].shutdownMinute = minute;
    return week;
}

inline void SetStart(Week& week, int day, int hour, int minute)
{
    week.days[day].startHour = hour;
    week.days[day].startMinute = minute;
}

inline void UseWeek(PolicyBench& bench, const Week& week)
{
    bench.cfg.scheduleOn = 1;
    std::copy_n(week.days, 7, bench.sched);
}

// A daemon at the given time of day, with good mains.
inline PolicyBench StartAt(time_t wall, const Week& week)
{
    PolicyBench bench;
    bench.cfg.countdownOn = 0;
    bench.wall = wall;
    UseWeek(bench, week);
    bench.Start();
    bench.Ask(Ups::good);
    return bench;
}
