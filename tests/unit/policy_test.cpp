// What the daemon decides in an outage: when it begins, when it is over, when the system goes
// down, and when it does not.
#include "tests/unit/support/policy_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// --- the delays --------------------------------------------------------------------------

TEST(Policy, ShutsDownToTheSecondWhenTheDelayIsOver)
{
    for (int minutes : {1, 2, 5, 60, 1440}) {
        PolicyBench bench;
        bench.cfg.acFailDelay = static_cast<int16_t>(minutes);
        bench.Start();
        bench.Run(30, Ups::good);
        bench.Round(1, Ups::failed);
        bench.Run(minutes * 60 - 1, Ups::failed);
        bench.Round(0.999, Ups::failed);
        EXPECT_FALSE(bench.HasBegun()) << minutes;
        bench.Round(0.001, Ups::silent);
        EXPECT_EQ(bench.ShutdownAt(), 31 + minutes * 60) << minutes;
        EXPECT_EQ(bench.state.order.cause, CAUSE_OUTAGE);
    }
}

TEST(Policy, TakesTheSoonerOfBothDelays)
{
    struct {
        int acFail, battLow;
        double lowAfter; // the begin of the outage
        double downAfter;
    } const cases[] = {{5, 1, 0, 60},    {5, 1, 30, 90},     {5, 1, 239, 299}, {5, 1, 240, 300},
                       {5, 1, 270, 300}, {5, 10, 0, 300},    {1, 1, 0, 60},    {1, 1, 1, 60},
                       {10, 3, 60, 240}, {1440, 1, 600, 660}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.cfg.acFailDelay = static_cast<int16_t>(test.acFail);
        bench.cfg.battLowDelay = static_cast<int16_t>(test.battLow);
        bench.Start();
        bench.Ask(test.lowAfter == 0 ? Ups::low : Ups::failed);
        bench.Run(test.lowAfter - 0.5, Ups::failed, 0.5);
        bench.Run(100000, Ups::low, 0.5);
        EXPECT_EQ(bench.ShutdownAt(), test.downAfter)
            << test.acFail << " " << test.battLow << " " << test.lowAfter;
    }
}

TEST(Policy, CountsFromTheFirstLowBatteryThoughItClearsAgain)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(99, Ups::failed);
    bench.Round(1, Ups::low);
    bench.Run(20, Ups::failed);
    bench.Run(300, Ups::low);
    EXPECT_EQ(bench.ShutdownAt(), 160);
    EXPECT_THAT(bench.Said("battery-low"), ElementsAre("100 battery-low by outage"));
}

TEST(Policy, CountsALowBatteryThatShowsWhileTheOutageIsNotYetOver)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(10, Ups::failed);
    bench.Round(1, Ups::goodLow);
    bench.Run(300, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 71);
}

TEST(Policy, ForgetsTheLowBatteryOfAnEarlierOutage)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::low);
    bench.Run(20, Ups::good);
    bench.Round(1, Ups::failed);
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 321);
}

TEST(Policy, OnlyWarnsOfALowBatteryWhileTheMainsAreGood)
{
    PolicyBench bench;
    bench.Start();
    bench.Run(2000, Ups::goodLow);
    EXPECT_THAT(bench.said, ElementsAre("1 low-on-mains"));
    EXPECT_EQ(PolicyStatus(bench.state), 3);
    bench.Run(10, Ups::good);
    bench.Round(0.5, Ups::goodLow);
    EXPECT_THAT(bench.said, ElementsAre("1 low-on-mains", "2010.5 low-on-mains"));
    for (int i = 0; i < 50; i++)
        bench.Round(1, i % 2 == 0 ? Ups::good : Ups::goodLow);
    EXPECT_EQ(bench.said.size(), 2U) << "a bit that flickers is one warning";
}

TEST(Policy, WarnsOfALowBatteryAsSoonAsTheMachineRuns)
{
    PolicyBench bench;
    bench.start = bench.now = 0;
    bench.Start();
    bench.Ask(Ups::goodLow);
    EXPECT_THAT(bench.said, ElementsAre("0 low-on-mains"));
}

TEST(Policy, WarnsOfABatteryThatIsStillLowWhenTheMainsAreBack)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::low);
    bench.Run(15, Ups::goodLow);
    EXPECT_THAT(bench.Said("low-on-mains"), ElementsAre("11 low-on-mains"));
}

// --- mains that come back ----------------------------------------------------------------

TEST(Policy, EndsAnOutageAfterTenSecondsOfGoodMainsWithoutABreak)
{
    struct {
        double good; // from the first to the last good reading
        bool isOver;
    } const cases[] = {{0, false}, {1, false}, {9, false}, {9.999, false}, {10, true}, {11, true}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Round(1, Ups::good);
        bench.Run(test.good, Ups::good);
        EXPECT_EQ(bench.state.kept.outageSince == NEVER, test.isOver) << test.good;
        EXPECT_EQ(bench.Count("mains-back"), test.isOver) << test.good;
        bench.Round(0.001, Ups::failed);
        EXPECT_EQ(bench.Count("outage"), test.isOver ? 2 : 1) << test.good;
    }
}

TEST(Policy, SeesOneOutageInMainsThatFlap)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    while (!bench.HasBegun() && bench.Seconds() < 1000) {
        bench.Run(9.5, Ups::good, 0.5);
        bench.Run(0.5, Ups::failed);
    }
    EXPECT_EQ(bench.ShutdownAt(), 300);
    EXPECT_EQ(bench.Count("outage"), 1);
    EXPECT_EQ(bench.Count("mains-back"), 0);
}

TEST(Policy, CountsAnewInTheNextOutage)
{
    PolicyBench bench;
    bench.Start();
    for (int outage = 0; outage < 5; outage++) {
        bench.Round(1, Ups::failed);
        bench.Run(250, Ups::failed);
        bench.Run(11, Ups::good);
    }
    EXPECT_FALSE(bench.HasBegun());
    EXPECT_EQ(bench.Count("mains-back"), 5);
    bench.Round(1, Ups::failed);
    double begin = bench.Seconds();
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), begin + 300);
}

TEST(Policy, IsNotStoppedByMainsGoodForLessThanTenSecondsWhenItComes)
{
    struct {
        double goodBefore; // the moment it is due
        bool goesDown;
    } const cases[] = {{0.5, true}, {5, true}, {9.5, true}, {10, false}, {10.5, false}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(300 - test.goodBefore - 0.5, Ups::failed, 0.5);
        bench.Run(60, Ups::good, 0.5);
        EXPECT_EQ(bench.ShutdownAt(), test.goesDown ? 300 : -1) << test.goodBefore;
    }
}

TEST(Policy, AsksWhichCameFirstWhenBothLieBehindOneRound)
{
    struct {
        double goodSince; // ten seconds of it are full in the round from 299 to 303
        bool goesDown;
    } const cases[] = {{289.5, false}, {290, false}, {290.5, true}, {292, true}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(289, Ups::failed);
        bench.Round(test.goodSince - 289, Ups::good);
        bench.Run(299 - test.goodSince, Ups::good);
        bench.Round(4, Ups::good);
        EXPECT_EQ(bench.HasBegun(), test.goesDown) << test.goodSince;
        EXPECT_EQ(bench.Count("mains-back"), !test.goesDown) << test.goodSince;
    }
}

// --- a UPS that falls silent -------------------------------------------------------------

TEST(Policy, GoesOnCountingWhileTheUpsIsSilent)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(100, Ups::failed);
    bench.Run(4, Ups::silent);
    bench.Run(1000, Ups::lost);
    EXPECT_EQ(bench.ShutdownAt(), 300);
    EXPECT_THAT(bench.Said("ups-lost"), ElementsAre("105 ups-lost by outage"));
}

TEST(Policy, OnlyWarnsOfASilentUpsWhileTheMainsAreGood)
{
    PolicyBench bench;
    bench.Start();
    bench.Run(10, Ups::good);
    bench.Run(10000, Ups::lost);
    bench.Run(10, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("11 ups-lost", "10011 ups-back"));
    EXPECT_FALSE(bench.HasBegun());
}

TEST(Policy, TakesTheWordOfALostUpsThatComesBack)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(40, Ups::lost);
    bench.Run(11, Ups::good);
    bench.Run(1000, Ups::lost);
    EXPECT_FALSE(bench.HasBegun());
    EXPECT_THAT(bench.said, ElementsAre("0 outage by outage", "0 countdown by outage 300 to users",
                                        "1 ups-lost by outage", "41 ups-back", "51 mains-back",
                                        "51 called-off by outage to users", "52 ups-lost"));
}

TEST(Policy, DoesNotTakeSilenceForGoodMains)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(5, Ups::good);
    bench.Run(20, Ups::lost);
    bench.Run(9, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 0) << "the loss is a break";
    bench.Run(6, Ups::silent);
    EXPECT_EQ(bench.Count("mains-back"), 0) << "only a reading says that they are still good";
    bench.Round(1, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 1) << "a missing reply is no break";
}

TEST(Policy, TakesTwentySecondsWithoutAReadingForALoss)
{
    PolicyBench bench;
    bench.Start();
    bench.Run(10, Ups::good);
    bench.Run(19, Ups::silent);
    EXPECT_EQ(PolicyStatus(bench.state), 0);
    bench.Run(50, Ups::silent);
    EXPECT_EQ(PolicyStatus(bench.state), 1);
    bench.Round(1, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("30 ups-lost", "80 ups-back"));
}

TEST(Policy, IsBackWithAReadingOnly)
{
    PolicyBench bench;
    bench.Start();
    for (int i = 0; i < 20; i++)
        bench.Round(1, i % 2 == 0 ? Ups::lost : Ups::silent);
    EXPECT_THAT(bench.said, ElementsAre("1 ups-lost"));
}

TEST(Policy, GoesOnCountingWhenTheSettingsNameNoUpsAnyMore)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(1000, Ups::none);
    EXPECT_EQ(bench.ShutdownAt(), 300);
    EXPECT_FALSE(bench.state.order.tellUps);
    EXPECT_EQ(bench.Count("ups-"), 0);
}

TEST(Policy, DoesNothingWithoutAUps)
{
    PolicyBench bench;
    bench.Start();
    bench.Run(5000, Ups::none);
    EXPECT_THAT(bench.said, IsEmpty());
    EXPECT_EQ(PolicyStatus(bench.state), 1);
}

// --- the order ---------------------------------------------------------------------------

TEST(Policy, OrdersTheUpsBackThreeMinutesAfterAnOutage)
{
    for (int turnOff : {0, 1}) {
        PolicyBench bench;
        bench.cfg.turnOffUps = turnOff;
        bench.cfg.upsOffDelay = 0.5F;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(1000, Ups::failed);
        ASSERT_TRUE(bench.HasBegun());
        EXPECT_EQ(bench.state.order.tellUps, turnOff == 1);
        EXPECT_EQ(bench.state.order.offDelay, 0.5F);
        EXPECT_EQ(bench.state.order.restartMinutes, turnOff == 1 ? 3 : 0);
    }
}

TEST(Policy, IsDoneOnceAndNeverCalledOff)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.Count("shutdown"), 1);
    size_t lines = bench.said.size();
    bench.Run(100, Ups::good);
    for (Ups ups : {Ups::good, Ups::failed, Ups::lost, Ups::none, Ups::goodLow}) {
        for (int i = 0; i < 1000; i++)
            bench.Round(1, ups);
    }
    EXPECT_EQ(bench.said.size(), lines);
    EXPECT_EQ(PolicyStatus(bench.state), 3);
}

TEST(Policy, NamesItsEvents)
{
    const char* const names[] = {"outage",   "mains-back", "battery-low", "ups-lost",
                                 "ups-back", "settings",   "shutdown"};
    for (int what = POLICY_OUTAGE; what <= POLICY_RETURN_CUT; what++) {
        const char* name = PolicyEvent(static_cast<PolicyWhat>(what));
        if (what <= POLICY_SHUTDOWN)
            EXPECT_STREQ(name, names[what]);
        else
            EXPECT_EQ(name, nullptr);
    }
}

TEST(Policy, AnswersAScriptByAnExitStatus)
{
    PolicyBench bench;
    bench.Start();
    EXPECT_EQ(PolicyStatus(bench.state), 1);
    struct {
        Ups ups;
        int status;
    } const cases[] = {{Ups::good, 0}, {Ups::goodLow, 3}, {Ups::lost, 1},    {Ups::good, 0},
                       {Ups::none, 1}, {Ups::good, 0},    {Ups::goodLow, 3}, {Ups::good, 0},
                       {Ups::lost, 1}, {Ups::silent, 1},  {Ups::good, 0},    {Ups::failed, 2},
                       {Ups::lost, 2}, {Ups::good, 2},    {Ups::low, 3},     {Ups::failed, 3},
                       {Ups::lost, 3}};
    for (const auto& test : cases) {
        bench.Round(1, test.ups);
        EXPECT_EQ(PolicyStatus(bench.state), test.status) << bench.Seconds();
    }
}

} // namespace
