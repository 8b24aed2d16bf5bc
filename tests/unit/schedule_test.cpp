// The weekly schedule against a model that walks the week minute by minute.
#include "settings/schedule.h"
#include "settings/tolv_lib.h"
#include "tests/unit/support/one_minute.h"

#include <climits>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <random>

namespace {

struct Moment {
    int day;
    int hour;
    int minute;
};

// One event a day at most; hour -1 = none.
struct WeekTable {
    int hours[7] = {-1, -1, -1, -1, -1, -1, -1};
    int minutes[7] = {};
};

struct Found {
    int distance;
    int day;
    bool operator==(const Found&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Found& found)
{
    return out << found.distance << " minutes, day " << found.day;
}

Moment LaterBy(const Moment& from, int minutes)
{
    int at = (from.day * 1440 + from.hour * 60 + from.minute + minutes) % 10080;
    return {at / 1440, at / 60 % 24, at % 60};
}

bool IsEvent(const WeekTable& table, const Moment& at)
{
    return table.hours[at.day] == at.hour && table.minutes[at.day] == at.minute;
}

// An event at the present minute lies a whole week ahead, and until then it is
// the one that counts; otherwise the first minute with an event is it.
Found WalkTheWeek(const WeekTable& table, const Moment& from)
{
    if (IsEvent(table, from))
        return {10080, from.day};
    for (int ahead = 1; ahead <= 10080; ahead++) {
        if (IsEvent(table, LaterBy(from, ahead)))
            return {ahead, LaterBy(from, ahead).day};
    }
    return {-1, from.day};
}

Found AskTheProduct(const WeekTable& table, const Moment& from)
{
    Found found = {0, 99};
    found.distance =
        TimeDif(from.day, from.hour, from.minute, table.hours, table.minutes, &found.day);
    return found;
}

TEST(TimeDif, KnowsTheseMoments)
{
    struct {
        Moment now;
        int day, hour, minute;
        int distance;
    } const cases[] = {{{3, 10, 0}, 3, 10, 0, 10080}, {{3, 10, 0}, 3, 9, 59, 10079},
                       {{3, 10, 0}, 3, 10, 1, 1},     {{6, 23, 30}, 0, 0, 15, 45},
                       {{5, 18, 0}, 1, 7, 30, 3690},  {{0, 0, 0}, 6, 23, 59, 10079},
                       {{6, 23, 59}, 0, 0, 0, 1},     {{1, 0, 0}, 0, 0, 0, 8640},
                       {{0, 12, 0}, 0, 11, 59, 10079}};
    for (const auto& test : cases) {
        WeekTable table;
        table.hours[test.day] = test.hour;
        table.minutes[test.day] = test.minute;
        EXPECT_EQ(AskTheProduct(table, test.now), (Found{test.distance, test.day}));
    }
}

TEST(TimeDif, FindsNothingInAnEmptyTable)
{
    WeekTable table;
    for (int day = 0; day < 7; day++) {
        table.minutes[day] = day * 9; // minutes alone make no event
        EXPECT_EQ(AskTheProduct(table, {day, 12, 30}), (Found{-1, day}));
    }
}

TEST(TimeDif, LooksPastAnEventOfTheDayThatIsOver)
{
    WeekTable table;
    table.hours[2] = 8;
    table.hours[4] = 8;
    EXPECT_EQ(AskTheProduct(table, {2, 8, 1}), (Found{2 * 1440 - 1, 4}));
    EXPECT_EQ(AskTheProduct(table, {2, 7, 59}), (Found{1, 2}));
}

TEST(TimeDif, PutsAnEventOfThePresentMinuteAWeekAheadOfAllOthers)
{
    WeekTable table;
    for (int& hour : table.hours)
        hour = 8;
    EXPECT_EQ(AskTheProduct(table, {2, 8, 0}), (Found{10080, 2}));
}

TEST(TimeDif, AgreesWithTheWeekAtEveryMinuteOfIt)
{
    WeekTable table;
    const Moment events[] = {{0, 0, 0}, {2, 12, 30}, {3, 12, 29}, {6, 23, 59}};
    for (const Moment& event : events) {
        table.hours[event.day] = event.hour;
        table.minutes[event.day] = event.minute;
    }
    for (int minute = 0; minute < 10080; minute++) {
        Moment now = LaterBy({0, 0, 0}, minute);
        ASSERT_EQ(AskTheProduct(table, now), WalkTheWeek(table, now)) << "minute " << minute;
    }
}

TEST(TimeDif, AgreesWithTheWeekForManyTables)
{
    std::mt19937 random(7);
    auto below = [&random](int end) {
        return static_cast<int>(random() % static_cast<unsigned>(end));
    };
    for (int round = 0; round < 600; round++) {
        WeekTable table;
        int density = 1 + round % 7;
        for (int day = 0; day < 7; day++) {
            table.hours[day] = below(7) < density ? below(24) : -1;
            table.minutes[day] = below(60);
        }
        Moment now = {below(7), below(24), below(60)};
        ASSERT_EQ(AskTheProduct(table, now), WalkTheWeek(table, now)) << "round " << round;
        // Close to an event is where it matters.
        int day = below(7);
        if (table.hours[day] == -1)
            continue;
        for (int off : {-1, 0, 1}) {
            now = LaterBy({day, table.hours[day], table.minutes[day]}, 10080 + off);
            ASSERT_EQ(AskTheProduct(table, now), WalkTheWeek(table, now)) << "round " << round;
        }
    }
}

TEST(TimeDif, SurvivesNonsenseHours)
{
    for (int hour : {INT_MAX, INT_MIN, 1000000, -2}) {
        for (int minute : {INT_MAX, INT_MIN, 0}) {
            WeekTable table;
            for (int day = 0; day < 7; day++) {
                table.hours[day] = hour;
                table.minutes[day] = minute;
            }
            Found found = AskTheProduct(table, {6, 23, 59});
            EXPECT_GE(found.day, 0);
            EXPECT_LT(found.day, 7);
        }
    }
    WeekTable table;
    table.hours[1] = 25; // the first minutes of Tuesday, as arithmetic goes
    EXPECT_EQ(AskTheProduct(table, {1, 23, 0}), (Found{120, 1}));
}

// --- with the clock ----------------------------------------------------------------------

struct Results {
    int shutdownAt = 11;
    int restartAfter = 22;
    int shutdownDay = 33;
    int restartDay = 44;
    bool operator==(const Results&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Results& results)
{
    return out << "shutdown at " << results.shutdownAt << " on " << results.shutdownDay
               << ", restart after " << results.restartAfter << " on " << results.restartDay;
}

struct Week {
    ScheduleEntry days[7] = {{-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1},
                             {-1, -1, -1, -1}, {-1, -1, -1, -1}, {-1, -1, -1, -1}};
};

void SetShutdown(Week& week, const Moment& at)
{
    week.days[at.day].shutdownHour = at.hour;
    week.days[at.day].shutdownMinute = at.minute;
}

void SetStart(Week& week, const Moment& at)
{
    week.days[at.day].startHour = at.hour;
    week.days[at.day].startMinute = at.minute;
}

Moment LocalMoment(time_t now)
{
    tm local = {};
    localtime_r(&now, &local);
    return {local.tm_wday, local.tm_hour, local.tm_min};
}

Results Calculate(const Week& week, double offDelay)
{
    Results results;
    CalcSchdlTime(week.days, &results.shutdownAt, &results.restartAfter, &results.shutdownDay,
                  &results.restartDay, offDelay);
    return results;
}

// What was calculated within one minute, and what ought to be.
struct Calculated {
    Results found;
    Results expected;
};

void UseZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

TEST(CalcSchdlTime, LeavesTheRestartAloneWithoutAShutdown)
{
    Week week;
    EXPECT_EQ(Calculate(week, 3.0), (Results{-1, 22, -1, 44}));
    SetStart(week, {1, 7, 30});
    EXPECT_EQ(Calculate(week, 3.0), (Results{-1, 22, -1, 44})) << "a start alone is none";
}

TEST(CalcSchdlTime, HasNoRestartWithoutStartHours)
{
    Calculated result = InOneMinute([](time_t minute) {
        Week week;
        Moment shutdown = LaterBy(LocalMoment(minute), 600);
        SetShutdown(week, shutdown);
        return Calculated{Calculate(week, 3.0),
                          {static_cast<int>(minute) + 36000, -1, shutdown.day, -1}};
    });
    EXPECT_EQ(result.found, result.expected);
}

TEST(CalcSchdlTime, CountsFromTheStartOfThePresentMinute)
{
    for (int ahead : {1, 2, 59, 60, 61, 1439, 1440, 1441, 5000, 10079, 10080}) {
        Calculated result = InOneMinute([ahead](time_t minute) {
            Week week;
            Moment shutdown = LaterBy(LocalMoment(minute), ahead);
            SetShutdown(week, shutdown);
            SetStart(week, LaterBy(shutdown, 90));
            return Calculated{Calculate(week, 1.0),
                              {static_cast<int>(minute) + ahead * 60, 89, shutdown.day,
                               LaterBy(shutdown, 90).day}};
        });
        EXPECT_EQ(result.found, result.expected) << ahead;
    }
}

TEST(CalcSchdlTime, GoesByTheLocalTimeOfEveryZone)
{
    // Fixed offsets up to a day either way: other hours, and other weekdays.
    for (const char* zone : {"UTC0", "A-24", "B24", "C-5:30", "D11:45", "E-13"}) {
        UseZone(zone);
        Calculated result = InOneMinute([](time_t minute) {
            Week week;
            Moment now = LocalMoment(minute);
            SetShutdown(week, now);
            return Calculated{Calculate(week, 1.0),
                              {static_cast<int>(minute) + 604800, -1, now.day, -1}};
        });
        EXPECT_EQ(result.found, result.expected) << zone << ": the present minute is a week away";
    }
    int ahead = InOneMinute([](time_t minute) {
        UseZone("UTC0");
        Week week;
        SetShutdown(week, LaterBy(LocalMoment(minute), 300));
        UseZone("WEST5");
        return Calculate(week, 1.0).shutdownAt - static_cast<int>(minute);
    });
    EXPECT_EQ(ahead, 600 * 60) << "five hours behind";
}

TEST(CalcSchdlTime, TakesTheFirstOfSeveralShutdowns)
{
    Calculated result = InOneMinute([](time_t minute) {
        Week week;
        Moment now = LocalMoment(minute);
        for (int day = 1; day <= 6; day++)
            SetShutdown(week, LaterBy(now, day * 1440 + 7));
        return Calculated{
            Calculate(week, 1.0),
            {static_cast<int>(minute) + (1440 + 7) * 60, -1, LaterBy(now, 1440 + 7).day, -1}};
    });
    EXPECT_EQ(result.found, result.expected);
}

TEST(CalcSchdlTime, MeasuresTheRestartFromTheShutdown)
{
    struct {
        Moment shutdown, start;
        double delay;
        int restartAfter, restartDay;
    } const cases[] = {
        {{5, 18, 0}, {1, 7, 30}, 3.0, 3687, 1},   {{5, 18, 0}, {5, 18, 0}, 3.0, 10077, 5},
        {{5, 18, 0}, {5, 17, 59}, 1.0, 10078, 5}, {{5, 18, 0}, {5, 18, 1}, 1.0, 0, 5},
        {{6, 23, 59}, {0, 0, 0}, 10.0, -9, 0},    {{0, 6, 0}, {6, 6, 0}, 2.0, 8638, 6},
    };
    for (const auto& test : cases) {
        Week week;
        SetShutdown(week, test.shutdown);
        SetStart(week, test.start);
        Results results = Calculate(week, test.delay);
        EXPECT_EQ(results.shutdownDay, test.shutdown.day);
        EXPECT_EQ(results.restartAfter, test.restartAfter);
        EXPECT_EQ(results.restartDay, test.restartDay);
    }
}

TEST(CalcSchdlTime, SkipsAStartEarlierOnTheDayOfTheShutdown)
{
    Week week;
    SetShutdown(week, {2, 18, 0});
    SetStart(week, {2, 8, 0});
    SetStart(week, {4, 8, 0});
    Results results = Calculate(week, 1.0);
    EXPECT_EQ(results.restartAfter, 2 * 1440 - 600 - 1);
    EXPECT_EQ(results.restartDay, 4);
}

TEST(CalcSchdlTime, TakesWholeMinutesOfTheDelayAndAtLeastOne)
{
    struct {
        double delay;
        int taken;
    } const cases[] = {{0.2, 1},
                       {0.5, 1},
                       {0.0, 1},
                       {-7.0, 1},
                       {0.999, 1},
                       {1.0, 1},
                       {1.9, 1},
                       {2.0, 2},
                       {2.9, 2},
                       {3.0, 3},
                       {10.0, 10},
                       {9.99, 9},
                       // single precision has no number between these two
                       {2.99999999, 3}};
    for (const auto& test : cases) {
        Week week;
        SetShutdown(week, {3, 12, 0});
        SetStart(week, {3, 13, 40});
        EXPECT_EQ(Calculate(week, test.delay).restartAfter, 100 - test.taken) << test.delay;
    }
}

TEST(CalcSchdlTime, SurvivesNonsenseHoursAndDelays)
{
    for (int number : {INT_MAX, INT_MIN, 100000, -2, 24}) {
        for (double delay : {1e30, -1e30, 3e9, 0.5, static_cast<double>(NAN)}) {
            Week week;
            for (ScheduleEntry& day : week.days)
                day = {number, number, number, number};
            Results results = Calculate(week, delay);
            EXPECT_GE(results.shutdownDay, 0);
            EXPECT_LT(results.shutdownDay, 7);
        }
    }
}

} // namespace
