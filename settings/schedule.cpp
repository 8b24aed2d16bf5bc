#include "settings/schedule.h"

#include "base/system.h"
#include "base/text.h"

#include <ctime>

namespace {

constexpr int MINUTES_PER_WEEK = 7 * 24 * 60;
static_assert(MINUTES_PER_WEEK == 10080); // the longest distance that TimeDif promises

// An event at exactly the given minute counts as not yet past here; TimeDif then
// moves it a full week ahead.
bool StillToCome(int eventHour, int eventMinute, int hour, int minute)
{
    if (eventHour == -1)
        return false;
    return eventHour > hour || (eventHour == hour && eventMinute >= minute);
}

} // namespace

int TimeDif(int day, int hour, int minute, const int hours[7], const int minutes[7], int* foundDay)
{
    *foundDay = day;
    if (!StillToCome(hours[day], minutes[day], hour, minute)) {
        int steps = 0;
        do {
            *foundDay = (*foundDay + 1) % 7;
            steps++;
        } while (hours[*foundDay] == -1 && steps < 7);
        if (hours[*foundDay] == -1)
            return -1;
    }
    // Nothing keeps nonsense hours out of the table, so the sum is done wide.
    int64_t difference = (*foundDay - day) % 7;
    difference = (difference * 24 + hours[*foundDay] - hour) * 60 + minutes[*foundDay] - minute;
    if (difference <= 0)
        difference += MINUTES_PER_WEEK;
    return static_cast<int>(difference);
}

void CalcSchdlTimeFrom(time_t now, const ScheduleEntry sched[7], time_t* shutdownAt,
                       int* restartAfter, int* shutdownDay, int* restartDay, double upsOffDelay)
{
    tm local = LocalTime(now);

    int hours[7];
    int minutes[7];
    for (int day = 0; day < 7; day++) {
        hours[day] = sched[day].shutdownHour;
        minutes[day] = sched[day].shutdownMinute;
    }
    int foundDay = 0;
    int64_t distance =
        TimeDif(local.tm_wday, local.tm_hour, local.tm_min, hours, minutes, &foundDay);
    *shutdownAt = distance;
    if (distance == -1) {
        *shutdownDay = -1;
        return;
    }
    *shutdownDay = foundDay;
    *shutdownAt = now - now % 60 + distance * 60;

    for (int day = 0; day < 7; day++) {
        hours[day] = sched[day].startHour;
        minutes[day] = sched[day].startMinute;
    }
    const ScheduleEntry& shutdown = sched[foundDay];
    int startDay = 0;
    *restartAfter = TimeDif(foundDay, shutdown.shutdownHour, shutdown.shutdownMinute, hours,
                            minutes, &startDay);
    if (*restartAfter == -1) {
        *restartDay = -1;
        return;
    }
    float delay = static_cast<float>(upsOffDelay);
    if (delay < 1.0F)
        delay = 1.0F;
    *restartAfter = static_cast<int>(int64_t{*restartAfter} - TruncateToInt(delay));
    *restartDay = startDay;
}

void CalcSchdlTime(const ScheduleEntry sched[7], int* shutdownAt, int* restartAfter,
                   int* shutdownDay, int* restartDay, double upsOffDelay)
{
    time_t at = -1;
    CalcSchdlTimeFrom(time(nullptr), sched, &at, restartAfter, shutdownDay, restartDay,
                      upsOffDelay);
    *shutdownAt = static_cast<int>(at);
}
