// What the daemon makes of an outage that nobody watched for a while: it was ended and started
// again, or the machine slept.
#include "tests/unit/support/policy_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;

// Another daemon takes over what this one kept.
void Restart(PolicyBench& bench, double after)
{
    bench.Pass(after);
    PolicyKept kept = bench.state.kept;
    bench.Start(kept);
}

// An outage of so many seconds, watched until so many seconds before the start.
PolicyKept KeptSince(const PolicyBench& bench, double seconds, double unwatched = 0)
{
    auto Before = [&](double past) { return bench.now - static_cast<int64_t>(past * 1000.0); };
    return {Before(seconds), NEVER, Before(unwatched)};
}

TEST(PolicyRestart, GoesOnCountingInAnOutage)
{
    for (double gone : {0.0, 1.0, 100.0, 198.0}) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(100, Ups::failed);
        Restart(bench, gone);
        bench.Run(1000, Ups::failed);
        EXPECT_EQ(bench.ShutdownAt(), 300) << gone;
        EXPECT_EQ(bench.Count("outage"), 1);
        EXPECT_EQ(bench.Count("goes-on"), 1);
    }
}

TEST(PolicyRestart, GoesOnCountingTheLowBattery)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Round(20, Ups::low);
    Restart(bench, 10);
    bench.Run(1000, Ups::low);
    EXPECT_EQ(bench.ShutdownAt(), 80);
    EXPECT_EQ(bench.Count("battery-low"), 1);
}

TEST(PolicyRestart, DoesNotShutDownForAnOutageThatNobodyKept)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(100, Ups::failed);
    bench.Start();
    bench.Run(250, Ups::lost);
    EXPECT_FALSE(bench.HasBegun());
    bench.Run(299, Ups::failed);
    EXPECT_FALSE(bench.HasBegun());
}

TEST(PolicyRestart, DropsWhatCannotBeTrue)
{
    struct {
        PolicyKept kept, taken;
    } const cases[] = {
        {{40000, 45000, 46000}, {40000, 45000, 46000}},
        {{40000, NEVER, 40000}, {40000, NEVER, 40000}},
        {{NEVER, 45000, 46000}, NOTHING_KEPT},
        {{50001, NEVER, 50001}, NOTHING_KEPT},
        {{40000, 50001, 46000}, {40000, NEVER, 46000}},
        {{40000, 39999, 46000}, {40000, NEVER, 46000}},
        {{40000, NEVER, 50001}, {40000, NEVER, 40000}},
        {{40000, NEVER, 39999}, {40000, NEVER, 40000}},
        {{40000, 45000, NEVER}, {40000, 45000, 40000}},
        {{-2, NEVER, 46000}, NOTHING_KEPT},
        {{INT64_MIN, 0, 0}, NOTHING_KEPT},
        {{INT64_MAX, 0, 0}, NOTHING_KEPT},
        {{50000, 50000, 50000}, {50000, 50000, 50000}},
        {{0, 0, 0}, {0, 0, 0}},
    };
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.now = 50000;
        bench.Start(test.kept);
        EXPECT_EQ(bench.state.kept.outageSince, test.taken.outageSince);
        EXPECT_EQ(bench.state.kept.lowSince, test.taken.lowSince);
        EXPECT_EQ(bench.state.kept.lookedAt, test.taken.lookedAt);
    }
}

// A shutdown long overdue at the start: what the UPS says decides, and its silence.
TEST(PolicyRestart, WaitsForTheWordOfTheUpsWhenTheShutdownIsOverdue)
{
    struct {
        Ups first; // for a second
        Ups then;
        double downAfter; // -1 = never
    } const cases[] = {
        {Ups::failed, Ups::failed, 1}, {Ups::low, Ups::low, 1},     {Ups::silent, Ups::failed, 2},
        {Ups::good, Ups::good, -1},    {Ups::good, Ups::failed, 2}, {Ups::silent, Ups::good, -1},
        {Ups::lost, Ups::lost, 5},     {Ups::lost, Ups::good, -1},  {Ups::silent, Ups::silent, 20},
        {Ups::silent, Ups::lost, 5},   {Ups::good, Ups::lost, 6},   {Ups::none, Ups::none, -1},
    };
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start(KeptSince(bench, 4000));
        bench.Round(1, test.first);
        bench.Run(100, test.then);
        EXPECT_EQ(bench.ShutdownAt(), test.downAfter)
            << static_cast<int>(test.first) << " " << static_cast<int>(test.then);
    }
}

// A cable that is loose after hours in which nobody looked says nothing of the mains.
TEST(PolicyRestart, TakesSilenceForAnOutageOnlyWhenItWasWatchedNotLongAgo)
{
    struct {
        double unwatched; // seconds
        Ups then;
        double downAfter; // -1 = never
    } const cases[] = {
        {299, Ups::lost, 5}, {300, Ups::lost, -1},   {3000, Ups::lost, -1}, {3000, Ups::silent, -1},
        {3000, Ups::low, 1}, {3000, Ups::failed, 1}, {3000, Ups::good, -1},
    };
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start(KeptSince(bench, 4000, test.unwatched));
        bench.Run(400, test.then);
        EXPECT_EQ(bench.ShutdownAt(), test.downAfter) << test.unwatched;
        EXPECT_EQ(bench.Count("mains-back"), test.then == Ups::good);
    }
}

TEST(PolicyRestart, GoesOnCountingAnOldOutageWhenTheUpsConfirmsIt)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 20;
    bench.Start(KeptSince(bench, 1000, 900));
    bench.Run(60, Ups::lost);
    EXPECT_THAT(bench.Said("ups-lost"), ElementsAre("1 ups-lost")) << "no delay goes on";
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 200) << "twenty minutes after its begin";
}

// One that was not confirmed is no younger for the next daemon.
TEST(PolicyRestart, KeepsTheMomentOfTheLastLook)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 60;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(30, Ups::failed);
    EXPECT_EQ(bench.state.kept.lookedAt, bench.now);
    bench.Run(30, Ups::lost);
    EXPECT_EQ(bench.state.kept.lookedAt, bench.now) << "it was asked";
    int64_t looked = bench.now;
    Restart(bench, 400);
    bench.Run(60, Ups::lost);
    EXPECT_EQ(bench.state.kept.lookedAt, looked);
    Restart(bench, 1);
    bench.Run(60, Ups::lost);
    EXPECT_EQ(bench.Count("goes-on"), 0);
    bench.Round(1, Ups::failed);
    EXPECT_EQ(bench.state.kept.lookedAt, bench.now);
}

TEST(PolicyRestart, HoldsAShutdownThatComesDueBeforeTheFirstWord)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 297));
    bench.Run(4, Ups::silent);
    EXPECT_FALSE(bench.HasBegun());
    bench.Run(9, Ups::good);
    EXPECT_FALSE(bench.HasBegun()) << "the mains may be good since long ago";
    bench.Run(2, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 1);
}

TEST(PolicyRestart, TellsUsersAgainOnceTheOutageIsConfirmed)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 100.5));
    bench.Run(3, Ups::silent);
    bench.Run(2, Ups::failed);
    EXPECT_THAT(bench.said,
                ElementsAre("4 goes-on by outage", "4 countdown by outage 196 to users"));
}

TEST(PolicyRestart, TellsUsersWhenTheOutageIsOver)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 4000));
    bench.Run(11, Ups::good);
    EXPECT_THAT(bench.said, ElementsAre("11 mains-back", "11 called-off by outage to users"));
    bench.Run(2000, Ups::lost);
    EXPECT_FALSE(bench.HasBegun());
}

TEST(PolicyRestart, ForgetsAnOutageWhenThereIsNoUpsToConfirmIt)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 4000));
    bench.Run(100, Ups::none);
    EXPECT_THAT(bench.said, ElementsAre("1 forgotten", "1 called-off by outage to users"));
    EXPECT_EQ(bench.state.kept.outageSince, NEVER);
}

TEST(PolicyRestart, KeepsAnOutageWhileTheSettingsCannotTellWhichUpsThereIs)
{
    PolicyBench bench;
    PolicyKept kept = KeptSince(bench, 4000);
    bench.Start(kept);
    bench.Run(3600, Ups::unknown);
    EXPECT_TRUE(bench.said.empty());
    EXPECT_EQ(bench.state.kept.outageSince, kept.outageSince);
    EXPECT_EQ(bench.state.kept.lookedAt, kept.lookedAt) << "nobody looked";
    bench.Run(2, Ups::failed);
    EXPECT_TRUE(bench.HasBegun()) << "its delay is over long since";
    EXPECT_TRUE(bench.state.order.tellUps);
}

TEST(PolicyRestart, ShutsDownByTheScheduleWithoutAnOrderToAnUnknownUps)
{
    for (Ups ups : {Ups::none, Ups::unknown}) {
        PolicyBench bench;
        bench.cfg.scheduleOn = 1;
        for (ScheduleEntry& day : bench.sched)
            day = {-1, -1, 10, 30};
        bench.Start();
        bench.Run(1900, ups);
        EXPECT_TRUE(bench.HasBegun());
        EXPECT_FALSE(bench.state.order.tellUps);
    }
}

TEST(PolicyRestart, IsAnOutageToScriptsUntilTheUpsSaysOtherwise)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 4000));
    EXPECT_EQ(PolicyStatus(bench.state), 2);
    bench.Run(9, Ups::good);
    EXPECT_EQ(PolicyStatus(bench.state), 2);
    bench.Run(2, Ups::good);
    EXPECT_EQ(PolicyStatus(bench.state), 0);
}

// --- a machine that sleeps ---------------------------------------------------------------

TEST(PolicySleep, CountsInADelay)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(100, Ups::failed);
    bench.Sleep(150, Ups::silent);
    EXPECT_FALSE(bench.HasBegun());
    bench.Run(1000, Ups::failed);
    EXPECT_EQ(bench.ShutdownAt(), 300);
}

TEST(PolicySleep, LeavesAnOverdueShutdownToTheNextWordOfTheUps)
{
    struct {
        Ups word;
        double downAfter; // from the wake, -1 = never
        double slept;
    } const cases[] = {{Ups::failed, 1, 3600}, {Ups::good, -1, 3600},   {Ups::lost, -1, 3600},
                       {Ups::lost, -1, 300.5}, {Ups::silent, -1, 3600}, {Ups::failed, 1, 250},
                       {Ups::lost, 5, 250},    {Ups::silent, 20, 250}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(100, Ups::failed);
        bench.Sleep(test.slept, Ups::silent);
        EXPECT_FALSE(bench.HasBegun());
        bench.Run(100, test.word);
        EXPECT_EQ(bench.ShutdownAt(), test.downAfter == -1 ? -1 : 100 + test.slept + test.downAfter)
            << static_cast<int>(test.word) << " " << test.slept;
    }
}

TEST(PolicySleep, DoesNotTakeALossOfBeforeForAnAnswer)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(60, Ups::lost);
    bench.Sleep(3600, Ups::lost);
    EXPECT_FALSE(bench.HasBegun()) << "it was not asked since";
    bench.Run(2, Ups::lost);
    bench.Run(11, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 1);
    EXPECT_FALSE(bench.HasBegun());
}

TEST(PolicySleep, DoesNotCountAsGoodMains)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(10, Ups::failed);
    bench.Run(3, Ups::good);
    bench.Sleep(3600, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 0);
    bench.Run(1, Ups::failed);
    EXPECT_TRUE(bench.HasBegun()) << "they were good for a moment before and after the sleep";
}

TEST(PolicySleep, IsWhatTakesMoreThanFiveSeconds)
{
    for (double seconds : {5.0, 5.001}) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(296, Ups::failed);
        bench.Sleep(seconds, Ups::silent);
        EXPECT_EQ(bench.HasBegun(), seconds == 5.0);
    }
}

TEST(PolicySleep, IsNoLossOfTheUps)
{
    PolicyBench bench;
    bench.Start();
    bench.Run(19, Ups::silent);
    bench.Sleep(3600, Ups::silent);
    bench.Run(19, Ups::silent);
    EXPECT_EQ(bench.Count("ups-lost"), 0);
    bench.Run(1, Ups::silent);
    EXPECT_EQ(bench.Count("ups-lost"), 1);
}

// --- a daemon that is held up, by a device or a disk -----------------------------------------

TEST(PolicyStall, PutsNoShutdownOff)
{
    for (double stall : {6.0, 7.0, 29.0, 61.0}) {
        for (Ups ups : {Ups::lost, Ups::silent, Ups::failed}) {
            PolicyBench bench;
            bench.Start();
            bench.Ask(Ups::failed);
            while (!bench.HasBegun() && bench.Seconds() < 1000)
                bench.Round(stall, ups);
            EXPECT_GE(bench.ShutdownAt(), 300);
            EXPECT_LT(bench.ShutdownAt(), 300 + stall);
        }
    }
}

TEST(PolicyStall, CountsAsSilenceOfADoubtedOutage)
{
    PolicyBench bench;
    bench.Start(KeptSince(bench, 4000, 60));
    bench.Round(29, Ups::lost);
    EXPECT_TRUE(bench.HasBegun());
}

TEST(PolicyStall, DoesNotCountAsGoodMains)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(3, Ups::good);
    bench.Round(60, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 0);
    bench.Run(10, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 1);
}

// A machine whose time stood still for its owner, as a guest of another one.
TEST(PolicyStall, OfMoreThanFiveMinutesIsLikeASleep)
{
    for (double seconds : {300.0, 301.0}) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(60, Ups::failed);
        bench.Round(seconds, Ups::good);
        EXPECT_EQ(bench.HasBegun(), seconds == 300.0);
    }
}

// --- another UPS ---------------------------------------------------------------------------

TEST(PolicyOtherUps, IsNeitherGoodNorLostBeforeItSaidAnything)
{
    for (Ups before : {Ups::good, Ups::goodLow, Ups::lost, Ups::silent}) {
        PolicyBench bench;
        bench.Start();
        bench.Run(19, before);
        ForgetUps(bench.state);
        bench.Run(19, Ups::silent);
        EXPECT_EQ(PolicyStatus(bench.state), 1);
        EXPECT_EQ(bench.Count("ups-lost"), before == Ups::lost);
        bench.Run(1, Ups::silent);
        EXPECT_EQ(bench.Count("ups-lost"), before == Ups::lost ? 2 : 1);
    }
}

TEST(PolicyOtherUps, HasGoodMainsForTenSecondsOfItsOwnToEndAnOutage)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(9, Ups::good);
    ForgetUps(bench.state);
    bench.Run(10, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 0);
    bench.Run(1, Ups::good);
    EXPECT_EQ(bench.Count("mains-back"), 1);
}

} // namespace
