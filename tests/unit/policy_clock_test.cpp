// The weekly schedule on clocks that are set, change by an hour or move to another zone, and on
// machines that sleep.
#include "base/system.h"
#include "tests/unit/support/policy_bench.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace {

using testing::ElementsAre;

// --- clocks that are set, machines that sleep --------------------------------------------

TEST(PolicyClock, ObeysATimeThatIsFirstSeenWithinFiveMinutesAfterIt)
{
    UseZone(BERLIN);
    time_t ten = LocalMoment(2024, 5, 1, 22, 0);
    for (time_t late : {0, 1, 299, 300, 301, 3600, 6 * 24 * 3600, 400 * 24 * 3600}) {
        for (bool sleeps : {false, true}) {
            PolicyBench bench = StartAt(ten - 600, ShutdownOn(WEDNESDAY, 22, 0));
            bench.Run(300, Ups::good);
            if (sleeps)
                bench.Pass(static_cast<double>(300 + late));
            else
                bench.wall = ten + late;
            bench.Ask(Ups::good);
            EXPECT_EQ(bench.HasBegun(), late <= 300) << late;
            EXPECT_EQ(bench.Count("missed"), late > 300) << late;
            bench.Run(1000, Ups::good);
            EXPECT_EQ(bench.HasBegun(), late <= 300) << late;
        }
    }
}

TEST(PolicyClock, ObeysTheLastOfSeveralTimesThatAClockIsSetPast)
{
    UseZone(BERLIN);
    Week week = ShutdownOn(WEDNESDAY, 22, 0);
    week.days[FRIDAY].shutdownHour = 22;
    week.days[FRIDAY].shutdownMinute = 0;
    for (time_t late : {0, 300, 301}) {
        PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 12, 0), week);
        bench.wall = LocalMoment(2024, 5, 3, 22, 0) + late;
        bench.Ask(Ups::good);
        EXPECT_EQ(bench.HasBegun(), late <= 300) << late;
    }
}

TEST(PolicyClock, ObeysTheTimeAgainThatAClockSetBackBrings)
{
    UseZone(BERLIN);
    time_t ten = LocalMoment(2024, 5, 1, 22, 0);
    PolicyBench bench = StartAt(ten - DAY, ShutdownOn(WEDNESDAY, 22, 0));
    bench.wall = ten + DAY; // a mistake
    bench.Ask(Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("0 missed by schedule 86400"));
    bench.wall = ten - 100; // set right
    bench.Ask(Ups::good);
    bench.Run(200, Ups::good);
    EXPECT_EQ(bench.ShutdownAt(), 100);
}

TEST(PolicyClock, WaitsForTheTimeWhenTheClockIsSetBackBeforeIt)
{
    UseZone(BERLIN);
    time_t ten = LocalMoment(2024, 5, 1, 22, 0);
    for (time_t back : {2 * HOUR, DAY, 30 * DAY}) {
        Week week = ShutdownOn(WEDNESDAY, 22, 0);
        PolicyBench bench = StartAt(ten - 10, week);
        bench.Run(5, Ups::good);
        bench.wall -= back;
        bench.Run(100, Ups::good);
        EXPECT_FALSE(bench.HasBegun()) << back;
        EXPECT_EQ(bench.state.scheduled.at, NextScheduled(bench.wall, week.days, 3.0F).at);
    }
}

TEST(PolicyClock, MovesNoDelayOfAnOutage)
{
    for (time_t jump : {-400 * DAY, -HOUR, HOUR, 400 * DAY}) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(100, Ups::failed);
        bench.wall += jump;
        bench.Run(1000, Ups::failed);
        EXPECT_EQ(bench.ShutdownAt(), 300) << jump;
    }
}

TEST(PolicyClock, IsNotFooledByAClockThatBeginsIn1970)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(30, ShutdownOn(WEDNESDAY, 22, 0));
    bench.Run(100, Ups::good);
    bench.wall = LocalMoment(2024, 5, 1, 22, 6);
    bench.Run(100, Ups::good);
    EXPECT_FALSE(bench.HasBegun());
    EXPECT_EQ(bench.Count("missed"), 1);
}

TEST(PolicyClock, FollowsAMachineThatMovesToAnotherZone)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 5, 1, 21, 59, 50), ShutdownOn(WEDNESDAY, 22, 0));
    UseZone("Europe/London");
    bench.Run(60, Ups::good);
    EXPECT_FALSE(bench.HasBegun()) << "it is nine there";
    bench.Run(3600, Ups::good);
    EXPECT_EQ(bench.ShutdownAt(), 3610);
}

// --- daylight saving ---------------------------------------------------------------------

constexpr int SUMMER = 1;
constexpr int WINTER = 0;

// On 31 March 2024 clocks went from 02:00 to 03:00, on 27 October from 03:00 back to 02:00.
TEST(PolicyClock, FindsTheTimeThatClocksShowAcrossAChange)
{
    UseZone(BERLIN);
    struct {
        time_t from;
        int day, hour, minute;
        time_t at;
    } const cases[] = {
        // put forward
        {LocalMoment(2024, 3, 30, 12, 0), SUNDAY, 22, 0, LocalMoment(2024, 3, 31, 22, 0)},
        {LocalMoment(2024, 3, 30, 12, 0), SUNDAY, 1, 59, LocalMoment(2024, 3, 31, 1, 59)},
        {LocalMoment(2024, 3, 30, 12, 0), SUNDAY, 3, 0, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 30, 12, 0), SUNDAY, 3, 1, LocalMoment(2024, 3, 31, 3, 1)},
        {LocalMoment(2024, 3, 31, 1, 59, 30), SUNDAY, 3, 1, LocalMoment(2024, 3, 31, 3, 1)},
        {LocalMoment(2024, 3, 31, 3, 0), SUNDAY, 3, 1, LocalMoment(2024, 3, 31, 3, 1)},
        // skipped
        {LocalMoment(2024, 3, 30, 12, 0), SUNDAY, 2, 0, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 31, 1, 59, 59), SUNDAY, 2, 30, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 25, 2, 30), SUNDAY, 2, 59, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 31, 3, 0), SUNDAY, 2, 30, LocalMoment(2024, 4, 7, 2, 30)},
        // put back
        {LocalMoment(2024, 10, 26, 12, 0), SUNDAY, 22, 0, LocalMoment(2024, 10, 27, 22, 0)},
        {LocalMoment(2024, 10, 26, 12, 0), SUNDAY, 3, 0, LocalMoment(2024, 10, 27, 3, 0)},
        {LocalMoment(2024, 10, 27, 2, 59, 59, SUMMER), SUNDAY, 3, 0,
         LocalMoment(2024, 10, 27, 3, 0)},
        {LocalMoment(2024, 10, 27, 2, 0, 0, WINTER), SUNDAY, 3, 0, LocalMoment(2024, 10, 27, 3, 0)},
        // shown twice
        {LocalMoment(2024, 10, 26, 12, 0), SUNDAY, 2, 30,
         LocalMoment(2024, 10, 27, 2, 30, 0, SUMMER)},
        {LocalMoment(2024, 10, 27, 2, 29, 59, SUMMER), SUNDAY, 2, 30,
         LocalMoment(2024, 10, 27, 2, 30, 0, SUMMER)},
        {LocalMoment(2024, 10, 27, 2, 30, 0, SUMMER), SUNDAY, 2, 30,
         LocalMoment(2024, 11, 3, 2, 30)},
        {LocalMoment(2024, 10, 27, 2, 10, 0, WINTER), SUNDAY, 2, 30,
         LocalMoment(2024, 11, 3, 2, 30)},
        {LocalMoment(2024, 10, 27, 2, 10, 0, WINTER), MONDAY, 2, 30,
         LocalMoment(2024, 10, 28, 2, 30)},
    };
    for (const auto& test : cases) {
        Week week = ShutdownOn(test.day, test.hour, test.minute);
        EXPECT_EQ(NextScheduled(test.from, week.days, 3.0F).at, test.at)
            << test.from << " " << test.hour << ":" << test.minute;
    }
}

// Whatever the clocks do in a night, a daemon that watched through it shuts down once, and
// when the clock shows the time or skips it.
TEST(PolicyClock, ShutsDownAtTheTimeThatClocksShowInANightOfChange)
{
    UseZone(BERLIN);
    struct {
        time_t from;
        int hour, minute;
        time_t at;
    } const cases[] = {
        {LocalMoment(2024, 3, 31, 0, 0), 1, 59, LocalMoment(2024, 3, 31, 1, 59)},
        {LocalMoment(2024, 3, 31, 0, 0), 2, 0, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 31, 0, 0), 2, 30, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 31, 0, 0), 3, 0, LocalMoment(2024, 3, 31, 3, 0)},
        {LocalMoment(2024, 3, 31, 0, 0), 3, 30, LocalMoment(2024, 3, 31, 3, 30)},
        {LocalMoment(2024, 10, 27, 0, 0), 2, 0, LocalMoment(2024, 10, 27, 2, 0, 0, SUMMER)},
        {LocalMoment(2024, 10, 27, 0, 0), 2, 59, LocalMoment(2024, 10, 27, 2, 59, 0, SUMMER)},
        {LocalMoment(2024, 10, 27, 0, 0), 3, 0, LocalMoment(2024, 10, 27, 3, 0)},
        {LocalMoment(2024, 10, 27, 0, 0), 3, 1, LocalMoment(2024, 10, 27, 3, 1)},
    };
    for (const auto& test : cases) {
        PolicyBench bench = StartAt(test.from, ShutdownOn(SUNDAY, test.hour, test.minute));
        bench.Run(8 * 3600, Ups::good);
        EXPECT_TRUE(bench.HasBegun());
        EXPECT_EQ(bench.wall, test.at) << test.hour << ":" << test.minute;
    }
}

TEST(PolicyClock, DoesNotShutDownAgainWhenTheHourIsShownASecondTime)
{
    UseZone(BERLIN);
    for (int minute : {0, 30, 59}) {
        // Up again a moment after the first time.
        PolicyBench bench = StartAt(LocalMoment(2024, 10, 27, 2, minute, 40, SUMMER),
                                    ShutdownOn(SUNDAY, 2, minute));
        bench.Run(8 * 3600, Ups::good);
        EXPECT_FALSE(bench.HasBegun()) << minute;
    }
}

TEST(PolicyClock, CountsDownToTheRealMomentInANightOfChange)
{
    UseZone(BERLIN);
    PolicyBench bench = StartAt(LocalMoment(2024, 3, 31, 1, 57, 30), ShutdownOn(SUNDAY, 3, 1));
    bench.Run(8 * 3600, Ups::good);
    EXPECT_THAT(bench.said,
                ElementsAre("0 countdown by schedule 210", "30 countdown by schedule 180",
                            "90 countdown by schedule 120", "150 countdown by schedule 60",
                            "180 countdown by schedule 30", "200 countdown by schedule 10",
                            "210 shutdown by schedule"));
}

std::vector<std::string> ListZones()
{
    std::vector<std::string> zones;
    const std::string root = "/usr/share/zoneinfo/";
    for (const char* folder : {"Africa", "America", "Asia", "Australia", "Europe", "Pacific"}) {
        if (!std::filesystem::exists(root + folder))
            continue;
        for (const auto& file : std::filesystem::recursive_directory_iterator(root + folder)) {
            if (file.is_regular_file())
                zones.push_back(file.path().string().substr(root.size()));
        }
    }
    std::sort(zones.begin(), zones.end());
    return zones;
}

int OffsetAt(time_t moment)
{
    return static_cast<int>(LocalTime(moment).tm_gmtoff);
}

// In every zone of the world and on any day: the time found lies ahead, within the week, and
// is the one that clocks show, or the moment when they skip it.
TEST(PolicyClock, IsRightInEveryZone)
{
    std::mt19937 random(11);
    std::vector<std::string> zones = ListZones();
    ASSERT_GT(zones.size(), 0U);
    for (const std::string& zone : zones) {
        UseZone(zone.c_str());
        for (int round = 0; round < 200; round++) {
            // From 1975, when offsets had become whole minutes.
            time_t from = 157766400 + static_cast<time_t>(random() % 2051222400U);
            auto day = static_cast<int>(random() % 7);
            auto hour = static_cast<int>(random() % 24);
            auto minute = static_cast<int>(random() % 60);
            time_t at = NextScheduled(from, ShutdownOn(day, hour, minute).days, 3.0F).at;
            ASSERT_GT(at, from) << zone << " " << from;
            ASSERT_LE(at, from + 14 * DAY + 2 * HOUR) << zone << " " << from;
            tm local = LocalTime(at);
            bool isShown = local.tm_wday == day && local.tm_hour == hour && local.tm_min == minute;
            bool isSkipped = OffsetAt(at - 1) < OffsetAt(at);
            ASSERT_TRUE(isShown || isSkipped)
                << zone << " " << from << " " << day << " " << hour << ":" << minute;
            ASSERT_EQ(local.tm_sec, 0) << zone << " " << from;
        }
    }
}

} // namespace
