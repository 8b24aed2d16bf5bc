// What users are told, and when.
#include "tests/unit/support/policy_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Every day at the same time.
void SetEveryShutdown(PolicyBench& bench, int hour, int minute)
{
    bench.cfg.scheduleOn = 1;
    for (ScheduleEntry& entry : bench.sched)
        entry = {-1, -1, hour, minute};
}

TEST(PolicyCountdown, TellsOfAnOutageFromItsBeginToTheShutdown)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 3;
    bench.Start();
    bench.Round(1, Ups::failed);
    bench.Run(1000, Ups::failed, 0.25);
    EXPECT_THAT(bench.said, ElementsAre("1 outage by outage", "1 countdown by outage 180 to users",
                                        "61 countdown by outage 120 to users",
                                        "121 countdown by outage 60 to users",
                                        "151 countdown by outage 30 to users",
                                        "171 countdown by outage 10 to users",
                                        "181 shutdown by outage to users"));
}

TEST(PolicyCountdown, TellsTheTimeThatIsReallyLeft)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 4;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(1000, Ups::failed, 3.7);
    EXPECT_THAT(bench.Said("countdown"), ElementsAre("0 countdown by outage 240 to users",
                                                     "62.9 countdown by outage 178 to users",
                                                     "122.1 countdown by outage 118 to users",
                                                     "181.3 countdown by outage 59 to users",
                                                     "210.9 countdown by outage 30 to users",
                                                     "233.1 countdown by outage 7 to users"));
}

TEST(PolicyCountdown, TellsOnceOfMarksThatPassedTogether)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 10;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Round(400, Ups::failed);
    EXPECT_THAT(bench.Said("countdown"), ElementsAre("0 countdown by outage 600 to users",
                                                     "400 countdown by outage 200 to users"));
}

TEST(PolicyCountdown, TellsWhenALowBatteryLeavesLessTime)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(70, Ups::failed);
    bench.Round(1, Ups::low);
    EXPECT_THAT(bench.said,
                ElementsAre("0 outage by outage", "0 countdown by outage 300 to users",
                            "60 countdown by outage 240 to users", "71 battery-low by outage",
                            "71 countdown by outage 60 to users"));
    bench.Run(100, Ups::low);
    EXPECT_EQ(bench.ShutdownAt(), 131);
}

TEST(PolicyCountdown, KeepsQuietWhenALowBatteryChangesNothing)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(262, Ups::failed);
    bench.said.clear();
    bench.Round(1, Ups::low);
    EXPECT_THAT(bench.said, ElementsAre("263 battery-low by outage"));
}

TEST(PolicyCountdown, TellsWhenNewSettingsMoveTheEnd)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(100, Ups::failed);
    bench.said.clear();
    for (int minutes : {5, 9, 2}) {
        bench.cfg.acFailDelay = static_cast<int16_t>(minutes);
        bench.Change();
        bench.Round(1, Ups::failed);
    }
    EXPECT_THAT(bench.Said("countdown"), ElementsAre("102 countdown by outage 438 to users",
                                                     "103 countdown by outage 17 to users"));
}

TEST(PolicyCountdown, TellsWhenTheShutdownIsCalledOff)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(20, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("0 outage by outage", "0 countdown by outage 300 to users",
                                        "11 mains-back", "11 called-off by outage to users"));
}

TEST(PolicyCountdown, GoesToTheLogAloneWhenSwitchedOff)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 1;
    bench.cfg.countdownOn = 0;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(11, Ups::good);
    bench.Round(1, Ups::failed);
    bench.Run(100, Ups::failed);
    EXPECT_EQ(bench.Count("countdown"), 4);
    EXPECT_EQ(bench.Count("called-off"), 1);
    EXPECT_EQ(bench.Count("shutdown"), 1);
    for (const std::string& line : bench.said)
        EXPECT_EQ(line.find("users"), std::string::npos) << line;
}

// --- of the schedule ---------------------------------------------------------------------

TEST(PolicyCountdown, TellsOfTheScheduleFromTheOutageDelayBeforeIt)
{
    UseZone("UTC0");
    PolicyBench bench;
    bench.cfg.acFailDelay = 2;
    SetEveryShutdown(bench, 10, 10);
    bench.Start();
    bench.Run(1000, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("480 countdown by schedule 120 to users",
                                        "540 countdown by schedule 60 to users",
                                        "570 countdown by schedule 30 to users",
                                        "590 countdown by schedule 10 to users",
                                        "600 shutdown by schedule to users"));
}

TEST(PolicyCountdown, TellsOfAScheduleThatIsFirstSeenWithinTheDelay)
{
    UseZone("UTC0");
    PolicyBench bench;
    SetEveryShutdown(bench, 10, 2);
    bench.Start();
    bench.Round(1, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("1 countdown by schedule 119 to users"));
}

TEST(PolicyCountdown, TellsWhenTheScheduleIsSwitchedOffOrMoved)
{
    UseZone("UTC0");
    PolicyBench bench;
    SetEveryShutdown(bench, 10, 3);
    bench.Start();
    bench.Round(1, Ups::good);
    bench.cfg.scheduleOn = 0;
    bench.Change();
    bench.Ask(Ups::good);
    SetEveryShutdown(bench, 10, 4);
    bench.Change();
    bench.Ask(Ups::good);
    SetEveryShutdown(bench, 10, 2);
    bench.Change();
    bench.Ask(Ups::good);
    SetEveryShutdown(bench, 20, 0);
    bench.Change();
    bench.Ask(Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("1 countdown by schedule 179 to users", "1 settings",
                                        "1 called-off by schedule to users", "1 settings",
                                        "1 countdown by schedule 239 to users", "1 settings",
                                        "1 countdown by schedule 119 to users", "1 settings",
                                        "1 called-off by schedule to users"));
}

TEST(PolicyCountdown, FollowsAClockThatIsSetWhileItRuns)
{
    UseZone("UTC0");
    PolicyBench bench;
    SetEveryShutdown(bench, 10, 5);
    bench.Start();
    bench.Round(1, Ups::good);
    bench.wall += 100;
    bench.Ask(Ups::good);
    bench.wall += 10; // no mark lies between
    bench.Ask(Ups::good);
    bench.wall -= 1; // as clocks are corrected
    bench.Ask(Ups::good);
    bench.wall -= 30;
    bench.Ask(Ups::good);
    bench.wall -= 1000;
    bench.Ask(Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("1 countdown by schedule 299 to users",
                                        "1 countdown by schedule 199 to users",
                                        "1 countdown by schedule 220 to users",
                                        "1 called-off by schedule to users"));
}

TEST(PolicyCountdown, RunsForTheOutageAndTheScheduleBesideEachOther)
{
    UseZone("UTC0");
    PolicyBench bench;
    SetEveryShutdown(bench, 10, 4);
    bench.Start();
    bench.Round(1, Ups::good);
    bench.Round(9, Ups::failed);
    bench.Run(20, Ups::good);
    EXPECT_THAT(bench.said,
                ElementsAre("1 countdown by schedule 239 to users", "10 outage by outage",
                            "10 countdown by outage 300 to users", "21 mains-back",
                            "21 called-off by outage to users"));
}

TEST(PolicyCountdown, SaysNothingOfAScheduleThatIsFar)
{
    UseZone("UTC0");
    PolicyBench bench;
    SetEveryShutdown(bench, 10, 20);
    bench.Start();
    bench.Run(899, Ups::good);
    EXPECT_THAT(bench.said, IsEmpty());
}

} // namespace
