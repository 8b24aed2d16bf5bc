#include "daemon/policy_schedule.h"

#include "base/system.h"
#include "base/text.h"
#include "settings/schedule.h"

#include <algorithm>

namespace {

constexpr time_t SECONDS_PER_MINUTE = 60;
constexpr time_t LONGEST_PUT_BACK = 7200; // no zone puts its clocks back further

long OffsetAt(time_t moment)
{
    return LocalTime(moment).tm_gmtoff;
}

// The first moment after early that has late's offset, where early itself has another.
time_t FindChange(time_t early, time_t late)
{
    long offset = OffsetAt(late);
    while (late - early > 1) {
        time_t middle = early + (late - early) / 2;
        (OffsetAt(middle) == offset ? late : early) = middle;
    }
    return late;
}

// The schedule's arithmetic takes every day for 24 hours long. What it counted from a
// moment is moved to when clocks show the time that is meant, or skip it.
time_t FollowClocks(time_t from, time_t counted)
{
    long shift = OffsetAt(counted) - OffsetAt(from);
    time_t exact = counted - shift;
    bool isSkipped = OffsetAt(exact) != OffsetAt(counted);
    return isSkipped ? FindChange(exact, counted) : exact;
}

// Whether clocks were put back a short while ago and had shown this time before.
bool IsShownAgain(time_t moment)
{
    long back = OffsetAt(moment - LONGEST_PUT_BACK) - OffsetAt(moment);
    return back > 0 && OffsetAt(moment - back) == OffsetAt(moment) + back;
}

ScheduledShutdown CountToShutdown(time_t from, const ScheduleEntry sched[7], float upsOffDelay)
{
    time_t shutdownAt = -1;
    int restartAfter = 0;
    int shutdownDay = -1;
    int restartDay = -1;
    CalcSchdlTimeFrom(from, sched, &shutdownAt, &restartAfter, &shutdownDay, &restartDay,
                      static_cast<double>(upsOffDelay));
    if (shutdownDay == -1)
        return {-1, false, 0};
    time_t exact = FollowClocks(from, shutdownAt);
    if (restartDay == -1)
        return {exact, false, 0};
    time_t untilOff = std::max(1, TruncateToInt(static_cast<double>(upsOffDelay)));
    time_t start = shutdownAt + (restartAfter + untilOff) * SECONDS_PER_MINUTE;
    time_t offTime = (FollowClocks(from, start) - exact) / SECONDS_PER_MINUTE - untilOff;
    return {exact, true, static_cast<int>(offTime)};
}

// The arithmetic puts an event of the present minute a week ahead and before all others; here
// the others come first.
ScheduledShutdown FindShutdown(time_t from, const ScheduleEntry sched[7], float upsOffDelay)
{
    ScheduleEntry others[7];
    std::copy_n(sched, 7, others);
    tm local = LocalTime(from);
    ScheduleEntry& today = others[local.tm_wday];
    if (today.shutdownHour == local.tm_hour && today.shutdownMinute == local.tm_min)
        today.shutdownHour = -1;
    ScheduledShutdown next = CountToShutdown(from, others, upsOffDelay);
    return next.at != -1 ? next : CountToShutdown(from, sched, upsOffDelay);
}

} // namespace

ScheduledShutdown NextScheduled(time_t from, const ScheduleEntry sched[7], float upsOffDelay)
{
    ScheduledShutdown next = FindShutdown(from, sched, upsOffDelay);
    if (next.at != -1 && IsShownAgain(next.at))
        return FindShutdown(next.at, sched, upsOffDelay);
    return next;
}
