// The weekly schedule: when it shuts the system down, and when the UPS is to come back.
#include "base/system.h"
#include "settings/schedule.h"
#include "tests/unit/support/policy_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- at its time -------------------------------------------------------------------------

TEST(PolicySchedule, ShutsDownToTheSecond)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 58, 30), ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(89.9, Ups::good, 0.1);
    EXPECT_FALSE(bench.HasBegun());
    bench.Run(1, Ups::good, 0.1);
    EXPECT_EQ(bench.ShutdownAt(), 90);
    EXPECT_EQ(bench.state.order.cause, CAUSE_SCHEDULE);
}

TEST(PolicySchedule, NeedsNoUps)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 58, 30), ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(100, Ups::none);
    EXPECT_EQ(bench.ShutdownAt(), 90);
    EXPECT_FALSE(bench.state.order.tellUps);
}

TEST(PolicySchedule, HasNoEventInThePresentMinute)
{
    UseZone(BERLIN);
    for (int second : {0, 1, 59}) {
        PolicyBench bench =
            StartAt(LocalMoment(2024, 5, 1, 22, 0, second), ShutdownOn(WEDNESDAY, 22, 0));
        EXPECT_EQ(bench.state.scheduled.at, LocalMoment(2024, 5, 8, 22, 0));
        bench.Run(600, Ups::good);
        EXPECT_FALSE(bench.HasBegun()) << "it would go down as soon as it came up";
    }
}

TEST(PolicySchedule, SeesTheNextEventAlsoInTheMinuteOfAnother)
{
    UseZone(BERLIN);
    Week week = ShutdownOn(WEDNESDAY, 23, 59);
    week.days[THURSDAY].shutdownHour = 0;
    week.days[THURSDAY].shutdownMinute = 0;
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 23, 59, 30), week);
    bench.Run(100, Ups::good);
    EXPECT_EQ(bench.ShutdownAt(), 30);
    EXPECT_EQ(bench.state.scheduled.at, LocalMoment(2024, 5, 2, 0, 0)) << "not the other one";
}

TEST(PolicySchedule, IsOffWhenSwitchedOff)
{
    UseZone(BERLIN);
    PolicyBench bench;
    UseWeek(bench, ShutdownOn(WEDNESDAY, 12, 1));
    bench.cfg.scheduleOn = 0;
    bench.Start();
    bench.Run(600, Ups::good);
    EXPECT_THAT(bench.said, IsEmpty());
}

TEST(PolicySchedule, FollowsTheEditorAtOnce)
{
    UseZone(BERLIN);
    time_t ten = LocalMoment(2024, 5, 1, 22, 0);
    struct {
        int scheduleOn;
        int hour, minute;
        double downAt; // -1 = not in this hour
    } const cases[] = {{0, 22, 0, -1}, {1, 23, 0, -1}, {1, 22, 5, 310},
                       {1, 22, 0, 10}, {1, -1, 0, -1}, {0, -1, 0, -1}};
    for (const auto& test : cases) {
        PolicyBench bench = StartAt(ten - 10, ShutdownOn(WEDNESDAY, 22, 0));
        bench.Run(9, Ups::good);
        bench.Pass(1); // saved when the time has just come
        UseWeek(bench, ShutdownOn(WEDNESDAY, test.hour, test.minute));
        bench.cfg.scheduleOn = static_cast<int16_t>(test.scheduleOn);
        bench.Change();
        bench.Ask(Ups::good);
        bench.Run(3000, Ups::good);
        EXPECT_EQ(bench.ShutdownAt(), test.downAt) << test.hour << ":" << test.minute;
    }
}

TEST(PolicySchedule, DoesNotObeyATimeThatIsSetToThePresentMinute)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 59, 58), ShutdownOn(WEDNESDAY, 23, 0));
    bench.Pass(3);
    UseWeek(bench, ShutdownOn(WEDNESDAY, 22, 0));
    bench.Change();
    bench.Ask(Ups::good);
    bench.Run(4000, Ups::good);
    EXPECT_FALSE(bench.HasBegun());
}

TEST(PolicySchedule, IgnoresTimesThatNoClockShows)
{
    UseZone(BERLIN);
    for (ScheduleEntry entry :
         {ScheduleEntry{-1, -1, 24, 0}, ScheduleEntry{-1, -1, -2, 0}, ScheduleEntry{-1, -1, 12, 60},
          ScheduleEntry{-1, -1, 12, -1}, ScheduleEntry{-1, -1, INT32_MAX, 0},
          ScheduleEntry{-1, -1, INT32_MIN, INT32_MIN}}) {
        Week week;
        std::fill_n(week.days, 7, entry);
        PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 11, 58), week);
        EXPECT_EQ(bench.state.scheduled.at, -1) << entry.shutdownHour;
        bench.Run(4000, Ups::good, 4);
        EXPECT_THAT(bench.said, ElementsAre("0 bad-setting 8"));
    }
}

TEST(PolicySchedule, IsTheSchedulesArithmeticWhereClocksAreLeftAlone)
{
    UseZone("IST-5:30");
    Week week = ShutdownOn(SUNDAY, 0, 0);
    week.days[TUESDAY] = {7, 30, 23, 59};
    week.days[FRIDAY] = {-1, -1, 18, 15};
    week.days[SATURDAY] = {6, 0, 5, 59};
    for (float delay : {0.2F, 2.9F, 10.0F}) {
        for (time_t from = 1714557600; from < 1714557600 + 7 * DAY; from += 60) {
            time_t at = -1;
            int after = -1;
            int day = -1;
            int startDay = -1;
            CalcSchdlTimeFrom(from, week.days, &at, &after, &day, &startDay,
                              static_cast<double>(delay));
            ScheduledShutdown found = NextScheduled(from, week.days, delay);
            if (at >= from / 60 * 60 + 7 * DAY)
                continue; // in the minute of an event the other ones come first
            ASSERT_EQ(found.at, at) << from;
            ASSERT_EQ(found.hasStart, startDay != -1);
            ASSERT_EQ(found.restartMinutes, after) << from;
        }
    }
}

TEST(PolicySchedule, OutlivesTheYear2038)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2039, 11, 9, 21, 58, 30), ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(3600, Ups::good);
    EXPECT_EQ(bench.ShutdownAt(), 90);
    EXPECT_EQ(NextScheduled(2147483640, ShutdownOn(TUESDAY, 4, 20).days, 3.0F).at,
              LocalMoment(2038, 1, 19, 4, 20));
}

// --- the way back ------------------------------------------------------------------------

struct Return {
    int minutes;            // of the order
    std::optional<int> cut; // what it was before a cut
};

Return ShutDownAndReturn(PolicyBench& bench)
{
    bench.Run(300, Ups::good);
    Return found = {bench.state.order.restartMinutes, {}};
    for (int i = 0; i < bench.actions.count; i++) {
        if (bench.actions.list[i].what == POLICY_RETURN_CUT)
            found.cut = bench.actions.list[i].number;
    }
    return found;
}

TEST(PolicySchedule, BringsTheUpsBackAtTheNextStart)
{
    UseZone(BERLIN);
    struct {
        float offDelay;
        int day, hour, minute; // of the start; -1 = none
        int minutes;
        std::optional<int> cut;
    } const cases[] = {
        {3.0F, MONDAY, 7, 30, 5 * 1440 - 14 * 60 - 30 - 3, {}},
        {2.9F, MONDAY, 7, 30, 5 * 1440 - 14 * 60 - 30 - 2, {}},
        {0.2F, MONDAY, 7, 30, 5 * 1440 - 14 * 60 - 30 - 1, {}},
        {3.0F, WEDNESDAY, 22, 4, 1, {}},
        {3.0F, WEDNESDAY, 22, 3, 1, 0},
        {10.0F, WEDNESDAY, 22, 1, 1, -9},
        {3.0F, WEDNESDAY, 22, 0, 9999, 10077},
        {3.0F, WEDNESDAY, 20, 42, 9999, {}},
        {3.0F, WEDNESDAY, 20, 43, 9999, 10000},
        {3.0F, -1, 0, 0, 0, {}},
        {3.0F, MONDAY, 24, 0, 0, {}},
    };
    for (const auto& test : cases) {
        Week week = ShutdownOn(WEDNESDAY, 22, 0);
        if (test.day != -1)
            SetStart(week, test.day, test.hour, test.minute);
        PolicyBench bench;
        bench.cfg.upsOffDelay = test.offDelay;
        bench.wall = LocalMoment(2024, 5, 1, 21, 59);
        UseWeek(bench, week);
        bench.Start();
        Return found = ShutDownAndReturn(bench);
        EXPECT_EQ(found.minutes, test.minutes) << test.day << " " << test.hour;
        EXPECT_EQ(found.cut, test.cut) << test.day << " " << test.hour;
        EXPECT_TRUE(bench.state.order.tellUps);
    }
}

TEST(PolicySchedule, BringsTheUpsBackAtTheStartThatClocksShow)
{
    UseZone(BERLIN);
    struct {
        time_t shutdown;
        int startDay;
        int minutes;
    } const cases[] = {
        {LocalMoment(2024, 3, 30, 22, 0), SUNDAY, 8 * 60 - 3},
        {LocalMoment(2024, 3, 31, 22, 0), MONDAY, 9 * 60 - 3},
        {LocalMoment(2024, 10, 26, 22, 0), SUNDAY, 10 * 60 - 3},
        {LocalMoment(2024, 10, 26, 22, 0), MONDAY, 34 * 60 - 3},
        {LocalMoment(2024, 3, 31, 3, 0), SUNDAY, 4 * 60 - 3},
    };
    for (const auto& test : cases) {
        tm local = LocalTime(test.shutdown);
        Week week = ShutdownOn(local.tm_wday, local.tm_hour, local.tm_min);
        SetStart(week, test.startDay, 7, 0);
        PolicyBench bench = StartAt(test.shutdown - 60, week);
        EXPECT_EQ(ShutDownAndReturn(bench).minutes, test.minutes) << test.shutdown;
    }
    // A start at the very change.
    Week early = ShutdownOn(SATURDAY, 22, 0);
    SetStart(early, SUNDAY, 3, 0);
    PolicyBench shortNight = StartAt(LocalMoment(2024, 3, 30, 21, 59), early);
    shortNight.cfg.upsOffDelay = 0.2F;
    shortNight.Change();
    EXPECT_EQ(ShutDownAndReturn(shortNight).minutes, 4 * 60 - 1);
    // A time that clocks skip, and the start in the same night.
    Week week = ShutdownOn(SUNDAY, 2, 30);
    SetStart(week, SUNDAY, 7, 0);
    PolicyBench bench = StartAt(LocalMoment(2024, 3, 31, 1, 59), week);
    EXPECT_EQ(ShutDownAndReturn(bench).minutes, 4 * 60 - 3);
}

TEST(PolicySchedule, ComesBackInTimeAlsoAfterAShutdownThatWasLate)
{
    UseZone(BERLIN);
    Week week = ShutdownOn(WEDNESDAY, 22, 0);
    SetStart(week, WEDNESDAY, 23, 0);
    for (int late : {0, 59, 60, 299}) {
        PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 59), week);
        bench.wall += 60 + late;
        bench.Ask(Ups::good);
        EXPECT_EQ(bench.state.order.restartMinutes, 57 - late / 60) << late;
    }
}

TEST(PolicySchedule, UsesTheSettingsThatHoldWhenTheTimeComes)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 59, 59), ShutdownOn(WEDNESDAY, 22, 0));
    Week week = ShutdownOn(WEDNESDAY, 22, 0);
    SetStart(week, WEDNESDAY, 23, 0);
    UseWeek(bench, week);
    bench.cfg.upsOffDelay = 5.0F;
    bench.Pass(1);
    bench.Change();
    bench.Ask(Ups::good);
    EXPECT_EQ(bench.state.order.restartMinutes, 55);
    EXPECT_EQ(bench.state.order.offDelay, 5.0F);
}

// --- together with an outage -------------------------------------------------------------

TEST(PolicySchedule, DoesNotDelayTheShutdownOfAnOutage)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 54), ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 301);
    EXPECT_EQ(bench.state.order.cause, CAUSE_OUTAGE);
    EXPECT_EQ(bench.state.order.restartMinutes, 3);
}

TEST(PolicySchedule, ComesFirstInAnOutageAndKeepsItsStart)
{
    UseZone(BERLIN);
    Week week = ShutdownOn(WEDNESDAY, 22, 0);
    SetStart(week, WEDNESDAY, 23, 0);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 58), week);
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 120);
    EXPECT_EQ(bench.state.order.cause, CAUSE_SCHEDULE);
    EXPECT_EQ(bench.state.order.restartMinutes, 57);
}

TEST(PolicySchedule, LeavesTheOrderToTheOutageWhenBothComeAtOnce)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 54, 59), ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 301);
    EXPECT_EQ(bench.state.order.cause, CAUSE_OUTAGE);
}

TEST(PolicySchedule, IsObeyedWhileAnOutageIsDoubted)
{
    UseZone(BERLIN);
    PolicyBench bench;
    UseWeek(bench, ShutdownOn(WEDNESDAY, 22, 0));
    bench.wall = LocalMoment(2024, 5, 1, 21, 59, 59);
    bench.Start({bench.now - 4000000, NEVER, NEVER});
    bench.Run(2, Ups::silent, 0.5);
    EXPECT_EQ(bench.ShutdownAt(), 1);
    EXPECT_EQ(bench.state.order.cause, CAUSE_SCHEDULE);
}

} // namespace
