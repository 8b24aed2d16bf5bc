// Settings that change while something runs, and settings that are nonsense.
#include "tests/unit/support/policy_bench.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

namespace {

using testing::ElementsAre;

TEST(PolicySettings, CountsANewDelayFromTheOldBegin)
{
    struct {
        int acFail;
        double downAt;
    } const cases[] = {{5, 300}, {10, 600}, {3, 180}, {2, 121}, {1, 121}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(121, Ups::failed);
        bench.cfg.acFailDelay = static_cast<int16_t>(test.acFail);
        bench.Change();
        bench.Ask(Ups::silent);
        bench.Run(1000, Ups::failed);
        EXPECT_EQ(bench.ShutdownAt(), test.downAt) << test.acFail;
    }
}

TEST(PolicySettings, CountsANewLowBatteryDelayFromTheFirstLowBattery)
{
    struct {
        int battLow;
        double downAt;
    } const cases[] = {{10, 300}, {3, 190}, {2, 130}, {1, 100}};
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.cfg.battLowDelay = 4;
        bench.Start();
        bench.Ask(Ups::failed);
        bench.Run(9, Ups::failed);
        bench.Run(91, Ups::low);
        bench.cfg.battLowDelay = static_cast<int16_t>(test.battLow);
        bench.Change();
        bench.Ask(Ups::silent);
        bench.Run(1000, Ups::failed);
        EXPECT_EQ(bench.ShutdownAt(), test.downAt) << test.battLow;
    }
}

TEST(PolicySettings, DoesNotShutDownByNewSettingsOnceTheMainsWereGoodForTenSeconds)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(200, Ups::failed);
    bench.Run(10, Ups::good);
    bench.Pass(1);
    bench.cfg.acFailDelay = 1;
    bench.Change();
    bench.Ask(Ups::good);
    EXPECT_FALSE(bench.HasBegun());
    EXPECT_EQ(bench.Count("mains-back"), 1);
}

TEST(PolicySettings, TurnsNonsenseIntoSettingsThatProtect)
{
    constexpr float NO_NUMBER = std::numeric_limits<float>::quiet_NaN();
    constexpr float ENDLESS = std::numeric_limits<float>::infinity();
    struct {
        int acFail, battLow;
        float offDelay;
        int acMinutes, lowMinutes;
        float offMinutes;
        int bad;
    } const cases[] = {
        {5, 1, 3.0F, 5, 1, 3.0F, 0},
        {1, 10, 0.2F, 1, 10, 0.2F, 0},
        {1440, 1, 10.0F, 1440, 1, 10.0F, 0},
        {0, 1, 3.0F, 1, 1, 3.0F, BAD_AC_FAIL_DELAY},
        {-32768, 1, 3.0F, 1, 1, 3.0F, BAD_AC_FAIL_DELAY},
        {1441, 1, 3.0F, 1440, 1, 3.0F, BAD_AC_FAIL_DELAY},
        {32767, 11, 3.0F, 1440, 10, 3.0F, BAD_AC_FAIL_DELAY | BAD_BATT_LOW_DELAY},
        {5, 0, 3.0F, 5, 1, 3.0F, BAD_BATT_LOW_DELAY},
        {5, -1, 3.0F, 5, 1, 3.0F, BAD_BATT_LOW_DELAY},
        {5, 1, 0.0F, 5, 1, 3.0F, BAD_OFF_DELAY},
        {5, 1, -0.5F, 5, 1, 3.0F, BAD_OFF_DELAY},
        {5, 1, 0.1F, 5, 1, 0.2F, BAD_OFF_DELAY},
        {5, 1, 10.5F, 5, 1, 10.0F, BAD_OFF_DELAY},
        {5, 1, NO_NUMBER, 5, 1, 3.0F, BAD_OFF_DELAY},
        {5, 1, ENDLESS, 5, 1, 10.0F, BAD_OFF_DELAY},
        {5, 1, -ENDLESS, 5, 1, 3.0F, BAD_OFF_DELAY},
    };
    for (const auto& test : cases) {
        PolicyBench bench;
        bench.cfg.acFailDelay = static_cast<int16_t>(test.acFail);
        bench.cfg.battLowDelay = static_cast<int16_t>(test.battLow);
        bench.cfg.upsOffDelay = test.offDelay;
        PolicySettings settings = {};
        EXPECT_EQ(MakePolicySettings(bench.cfg, bench.sched, settings), test.bad);
        EXPECT_EQ(settings.acFailDelay, test.acMinutes * 60000);
        EXPECT_EQ(settings.battLowDelay, test.lowMinutes * 60000);
        EXPECT_EQ(settings.offDelay, test.offMinutes) << test.offDelay;
    }
}

TEST(PolicySettings, SaysEachSettingThatIsNotObeyedAsItStands)
{
    PolicyBench bench;
    bench.cfg.acFailDelay = 0;
    bench.cfg.battLowDelay = 99;
    bench.cfg.upsOffDelay = -1.0F;
    bench.sched[3] = {-1, 0, 24, 0};
    bench.Start();
    EXPECT_THAT(bench.said, ElementsAre("0 bad-setting 1", "0 bad-setting 2", "0 bad-setting 4",
                                        "0 bad-setting 8"));
    bench.said.clear();
    InitConfig(bench.cfg, bench.sched);
    bench.cfg.acFailDelay = -7;
    bench.Change();
    EXPECT_THAT(bench.said, ElementsAre("0 settings", "0 bad-setting 1"));
}

TEST(PolicySettings, KnowsOneAndNothingElseAsOn)
{
    for (int number : {-1, 0, 1, 2, 256}) {
        PolicyBench bench;
        bench.cfg.scheduleOn = bench.cfg.countdownOn = static_cast<int16_t>(number);
        bench.cfg.turnOffUps = number;
        PolicySettings settings = {};
        MakePolicySettings(bench.cfg, bench.sched, settings);
        EXPECT_EQ(settings.isScheduleOn, number == 1);
        EXPECT_EQ(settings.tellsUsers, number == 1);
        EXPECT_EQ(settings.turnsUpsOff, number == 1);
    }
}

// --- settings that are damaged -------------------------------------------------------------

TEST(PolicyDamage, LeavesTheScheduleOut)
{
    UseZone(BERLIN);
    time_t ten = LocalMoment(2024, 5, 1, 22, 0);
    for (int mode : {0, 1, 192, 2, -1}) {
        for (bool atStart : {true, false}) {
            PolicyBench bench;
            UseWeek(bench, ShutdownOn(WEDNESDAY, 22, 0));
            bench.wall = ten - 60;
            bench.cfg.commMode = atStart ? mode : 0;
            bench.Start();
            bench.Round(1, Ups::good);
            bench.cfg.commMode = mode;
            if (!atStart)
                bench.Change();
            bench.Run(100, Ups::none);
            EXPECT_EQ(bench.HasBegun(), mode == 0 || mode == 1) << mode;
        }
    }
}

TEST(PolicyDamage, ForgetsNoOutage)
{
    for (int mode : {0, 192}) {
        PolicyBench bench;
        bench.cfg.commMode = mode;
        bench.Start({bench.now - 100000, NEVER, bench.now});
        bench.Run(60, Ups::none);
        EXPECT_EQ(bench.Count("forgotten"), mode == 0);
        bench.cfg.commMode = 0;
        bench.Change();
        bench.Run(1000, Ups::failed);
        EXPECT_EQ(bench.ShutdownAt(), mode == 0 ? 361 : 200);
    }
}

TEST(PolicyDamage, LeavesTheOldDelaysInForce)
{
    PolicyBench bench;
    bench.Start();
    bench.Ask(Ups::failed);
    bench.Run(100, Ups::failed);
    bench.cfg.commMode = 192;
    bench.cfg.acFailDelay = 1;
    bench.Change();
    bench.Run(1000, Ups::none);
    EXPECT_EQ(bench.ShutdownAt(), 300);
}

} // namespace
