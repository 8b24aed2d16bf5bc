// What one press of a key does to a value: each rule against a table of its whole
// sequence, and over settings from disk that lie outside every range.
#include "config/tolvconf.h"
#include "config/tolvconf_schedule.h"
#include "config/tolvconf_value.h"
#include "settings/tolv_lib.h"
#include "tests/unit/support/files.h"
#include "tests/unit/support/held.h"
#include "tests/unit/support/settings_image.h"

#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using Sequence = std::vector<int>;

int16_t Short(int number)
{
    return static_cast<int16_t>(number);
}

// Limits and delays as they are put in, the shutdown delay that a key makes of them.
int ShutdownDelay(int now, int key, int lowDelay = 1)
{
    Held held = Defaults();
    held.config.acFailDelay = Short(now);
    held.config.battLowDelay = Short(lowDelay);
    DoChange(held.config, held.schedule, key, 3);
    return held.config.acFailDelay;
}

int LowDelay(int now, int key, int shutdownDelay)
{
    Held held = Defaults();
    held.config.acFailDelay = Short(shutdownDelay);
    held.config.battLowDelay = Short(now);
    DoChange(held.config, held.schedule, key, 4);
    return held.config.battLowDelay;
}

float Rating(float now, int key)
{
    Held held = Defaults();
    held.config.batteryRating = now;
    DoChange(held.config, held.schedule, key, 6);
    return held.config.batteryRating;
}

// How far one [-] takes a delay above its maximum: there no step is chosen anew.
int LastStep()
{
    return 1500 - ShutdownDelay(1500, '-');
}

// Taken before anything else in this program presses a key.
const int FIRST_STEP = LastStep();

Sequence ShutdownDelays()
{
    Sequence all;
    for (int minutes = 1; minutes <= 30; minutes++)
        all.push_back(minutes);
    for (int minutes : {40, 50})
        all.push_back(minutes);
    for (int hours = 1; hours <= 24; hours++)
        all.push_back(60 * hours);
    return all;
}

// --- the shutdown delay --------------------------------------------------------------

TEST(ShutdownDelay, GoesUpThroughAllItsValuesAndRound)
{
    Sequence all = ShutdownDelays();
    for (int key : {'+', 'i'}) {
        for (size_t at = 0; at < all.size(); at++)
            EXPECT_EQ(ShutdownDelay(all[at], key), all[(at + 1) % all.size()]) << all[at];
    }
}

TEST(ShutdownDelay, GoesDownTheSameWayAndRound)
{
    Sequence all = ShutdownDelays();
    for (int key : {'-', 'm'}) {
        for (size_t at = 0; at < all.size(); at++)
            EXPECT_EQ(ShutdownDelay(all[at], key), all[(at + all.size() - 1) % all.size()])
                << all[at];
    }
}

TEST(ShutdownDelay, WrapsAtTheLowDelayInPlaceOf1)
{
    for (int low = 1; low <= 10; low++) {
        EXPECT_EQ(ShutdownDelay(low, '-', low), 1440) << low;
        EXPECT_EQ(ShutdownDelay(low + 1, '-', low), low);
        EXPECT_EQ(ShutdownDelay(1440, '+', low), low);
    }
}

TEST(ShutdownDelay, StepsByItsPresentValueAlsoBetweenTheUsualOnes)
{
    struct {
        int now, up, down;
    } const cases[] = {{31, 41, 21},   {45, 55, 35},          {59, 69, 49},    {61, 121, 1},
                       {100, 160, 40}, {1381, 1, 1321},       {1439, 1, 1379}, {0, 1, 1440},
                       {-5, -4, 1440}, {-32768, -32767, 1440}};
    for (const auto& test : cases) {
        EXPECT_EQ(ShutdownDelay(test.now, '+'), test.up) << test.now;
        EXPECT_EQ(ShutdownDelay(test.now, '-'), test.down) << test.now;
    }
}

TEST(ShutdownDelay, StepsBy1FirstWhereNoStepIsChosen)
{
    EXPECT_EQ(FIRST_STEP, 1);
}

TEST(ShutdownDelay, KeepsTheLastStepBetweenPressesWhereNoneIsChosen)
{
    struct {
        int now, key, step;
    } const cases[] = {{30, '+', 10}, {30, '-', 1},   {60, '+', 60},   {60, '-', 10},
                       {29, '+', 1},  {59, '-', 10},  {1439, '-', 60}, {5, 'm', 1},
                       {50, 'i', 10}, {1440, '-', 60}};
    for (const auto& test : cases) {
        ShutdownDelay(test.now, test.key);
        EXPECT_EQ(LastStep(), test.step) << test.now << static_cast<char>(test.key);
        EXPECT_EQ(LastStep(), test.step) << "a second time";
        ShutdownDelay(1440, '+');
        EXPECT_EQ(LastStep(), test.step) << "the wrap chooses no step";
    }
}

TEST(ShutdownDelay, StaysWithinAnyLimitsWhateverTheFilesHeld)
{
    for (int now = -32768; now <= 32767; now += 13) {
        for (int low : {-32768, -1, 0, 5, 11, 1440, 1441, 32767}) {
            ShutdownDelay(60, '+');
            int step = now <= 29 ? 1 : now < 60 ? 10 : 60;
            int up = now == 30 ? 40 : now + step;
            int down = now == 30 ? 29 : now == 60 ? 50 : now - step;
            EXPECT_EQ(ShutdownDelay(now, '+', low), up > 1440 ? low : up) << now << " " << low;
            ShutdownDelay(60, '+');
            EXPECT_EQ(ShutdownDelay(now, '-', low), down < low ? 1440 : down) << now << " " << low;
        }
    }
}

// --- the low delay ---------------------------------------------------------------------

TEST(LowDelay, GoesFrom1ToTheShutdownDelayOr10)
{
    for (int shutdown = 1; shutdown <= 1440; shutdown++) {
        int most = shutdown < 10 ? shutdown : 10;
        for (int now = 1; now <= most; now++) {
            EXPECT_EQ(LowDelay(now, '+', shutdown), now == most ? 1 : now + 1);
            EXPECT_EQ(LowDelay(now, 'i', shutdown), now == most ? 1 : now + 1);
            EXPECT_EQ(LowDelay(now, '-', shutdown), now == 1 ? most : now - 1);
            EXPECT_EQ(LowDelay(now, 'm', shutdown), now == 1 ? most : now - 1);
        }
    }
}

TEST(LowDelay, WrapsTo1FromAboveTheShutdownDelay)
{
    EXPECT_EQ(LowDelay(10, '+', 5), 1);
    EXPECT_EQ(LowDelay(10, '-', 5), 9);
    EXPECT_EQ(LowDelay(32767, '+', 1440), 1);
    EXPECT_EQ(LowDelay(-32768, '-', 1440), 10);
    EXPECT_EQ(LowDelay(1, '-', -7), -7);
}

// --- the turn-off delay ------------------------------------------------------------------

// In tenths of a minute.
const Sequence OFF_DELAYS = {2, 3, 4, 5, 6, 7, 8, 9, 10, 20, 30, 40, 50, 60, 70, 80, 90, 100};

void ExpectOffDelays(int key, int step)
{
    int count = static_cast<int>(OFF_DELAYS.size());
    int at = 10; // 3.0
    float delay = 3.0F;
    for (int press = 0; press < 20 * count; press++) {
        UPSOffChange(&delay, key);
        at = (at + step + count) % count;
        EXPECT_NEAR(delay, OFF_DELAYS[static_cast<size_t>(at)] / 10.0, 0.0001) << press;
    }
}

TEST(OffDelay, GoesUpThroughTenthsAndMinutesRoundAfterRound)
{
    ExpectOffDelays('+', 1);
    ExpectOffDelays('i', 1);
}

TEST(OffDelay, GoesDownTheSameWayRoundAfterRound)
{
    ExpectOffDelays('-', -1);
    ExpectOffDelays('m', -1);
}

TEST(OffDelay, TurnsAtItsFourLimits)
{
    struct {
        float now;
        float up, down;
    } const cases[] = {
        {0.2F, 0.3F, 10.0F},   {0.209F, 0.309F, 10.0F}, {0.211F, 0.311F, 0.111F},
        {0.98F, 1.08F, 0.88F}, {1.0F, 2.0F, 0.9F},      {1.005F, 2.005F, 0.905F},
        {1.02F, 2.02F, 0.02F}, {9.9F, 10.9F, 8.9F},     {9.91F, 0.2F, 8.91F},
        {10.0F, 0.2F, 9.0F},   {-3.0F, -2.9F, 10.0F},   {2.5F, 3.5F, 1.5F},
        {1e30F, 0.2F, 1e30F},  {-1e30F, -1e30F, 10.0F},
    };
    for (const auto& test : cases) {
        float up = test.now;
        float down = test.now;
        UPSOffChange(&up, '+');
        UPSOffChange(&down, '-');
        EXPECT_FLOAT_EQ(up, test.up) << test.now;
        EXPECT_NEAR(down, test.down, std::abs(test.down) * 1e-5) << test.now;
    }
}

// --- the battery rating --------------------------------------------------------------------

TEST(BatteryRating, GoesInTwelvesFrom0To96AndRound)
{
    for (int volts = 0; volts <= 96; volts += 12) {
        float now = static_cast<float>(volts);
        for (int key : {'+', 'i'})
            EXPECT_EQ(Rating(now, key), volts == 96 ? 0.0F : now + 12.0F);
        for (int key : {'-', 'm'})
            EXPECT_EQ(Rating(now, key), volts == 0 ? 96.0F : now - 12.0F);
    }
}

TEST(BatteryRating, DropsItsFractionFirst)
{
    EXPECT_EQ(Rating(12.9F, '+'), 24.0F);
    EXPECT_EQ(Rating(12.9F, '-'), 0.0F);
    EXPECT_EQ(Rating(11.9F, '-'), 96.0F);
    EXPECT_EQ(Rating(84.5F, '+'), 96.0F);
    EXPECT_EQ(Rating(85.0F, '+'), 0.0F);
    EXPECT_EQ(Rating(-0.9F, '-'), 96.0F);
    EXPECT_EQ(Rating(-0.9F, '+'), 12.0F);
    EXPECT_EQ(Rating(-30.5F, '+'), -18.0F);
    EXPECT_EQ(Rating(1000.0F, '+'), 0.0F);
    EXPECT_EQ(Rating(1000.0F, '-'), 988.0F);
}

// --- rows and keys -----------------------------------------------------------------------

TEST(Change, LeavesAllElseAloneInEveryRow)
{
    for (int row = -1; row <= 25; row++) {
        Held held = Defaults();
        DoChange(held.config, held.schedule, '+', row);
        Held wanted = Defaults();
        if (row == 3)
            wanted.config.acFailDelay = 6;
        if (row == 4)
            wanted.config.battLowDelay = 2;
        if (row == 5)
            wanted.config.upsOffDelay = 4.0F;
        if (row == 6)
            wanted.config.batteryRating = 12.0F;
        EXPECT_EQ(ImageOf(held.config, held.schedule), ImageOf(wanted.config, wanted.schedule))
            << row;
    }
}

TEST(Change, IgnoresEveryOtherKey)
{
    const std::string before = ImageOf(Defaults().config, Defaults().schedule);
    for (int key = -128; key < 256; key++) {
        if (strchr("+-im", key) != nullptr && key > 0)
            continue;
        Held held = Defaults();
        for (int row = 3; row <= 6; row++)
            DoChange(held.config, held.schedule, key, row);
        EXPECT_EQ(ImageOf(held.config, held.schedule), before) << key;
    }
}

TEST(Change, TakesAnyStepAndAnyLimit)
{
    int16_t field = 100;
    ShortChange(&field, '+', 200, 0, 65535);
    EXPECT_EQ(field, 0);
    ShortChange(&field, '-', 200, 0, 65535);
    EXPECT_EQ(field, 200);
    ShortChange(&field, 'm', 200, -32768, 300);
    EXPECT_EQ(field, -100);
    int32_t wide = INT_MAX;
    IntChange(&wide, '+', 59, -1);
    EXPECT_EQ(wide, -1);
    wide = INT_MIN;
    IntChange(&wide, '-', 59, -1);
    EXPECT_EQ(wide, 59);
    IntChange(&wide, 'i', INT_MAX, -1);
    EXPECT_EQ(wide, 60);
}

TEST(Change, SurvivesAnySettingsFromDisk)
{
    for (int pattern : {0x00, 0x5A, 0x7F, 0x80, 0xFF}) {
        WriteFile(POWER_INI, std::string(232, static_cast<char>(pattern)));
        WriteFile(TEXT_CFG, "");
        Held held = Defaults();
        ASSERT_EQ(ReadConfig(held.config, held.schedule), 1);
        for (int row = 3; row <= 6; row++) {
            for (int key : {'+', '+', '-', '-', '-', 'i', 'm'})
                DoChange(held.config, held.schedule, key, row);
        }
        EXPECT_LE(held.config.acFailDelay, 1440);
        EXPECT_LE(held.config.battLowDelay, 10);
        for (int column = 0; column < 14; column++) {
            for (int row : {15, 16}) {
                for (int key : {'+', '-', '-'})
                    SchdlChange(held.schedule, key, column, row);
            }
        }
        ChkSchedule(held.config, held.schedule);
    }
}

TEST(Mode, TogglesBetween0And1Alone)
{
    for (int mode : {0, 1, 2, -1, INT_MAX, INT_MIN}) {
        PowerConfig config = Defaults().config;
        config.commMode = mode;
        ToggleMode(config);
        EXPECT_EQ(config.commMode, mode == 0 ? 1 : mode == 1 ? 0 : mode);
    }
}

} // namespace
